#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <utility>

#include "platform/posix/FileDescriptor.h"

namespace fliprugair {
namespace {

bool isOpen(int descriptor) { return fcntl(descriptor, F_GETFD) != -1; }

TEST(FileDescriptor, IsClosedWithItsOwnerAlone) {
  int number = -1;
  {
    FileDescriptor first(open("/dev/null", O_RDONLY | O_CLOEXEC));
    ASSERT_TRUE(first);
    number = first.get();
    const FileDescriptor second = std::move(first);
    EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): what a moved one holds is what this test is about
    EXPECT_EQ(second.get(), number);
    EXPECT_TRUE(isOpen(number));
  }
  EXPECT_FALSE(isOpen(number));
  EXPECT_FALSE(FileDescriptor());
}

/// A process that was started without standard input gets this number for the first file that it opens.
TEST(FileDescriptor, MayBeZero) {
  const pid_t child = fork();
  if (child == 0) {
    close(0);
    bool isOne = false;
    {
      const FileDescriptor zero(open("/dev/null", O_RDONLY | O_CLOEXEC));
      isOne = zero.get() == 0 && static_cast<bool>(zero);
    }
    _exit(isOne && !isOpen(0) ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

}  // namespace
}  // namespace fliprugair
