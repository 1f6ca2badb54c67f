#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <optional>

#include "platform/sqlite/ProcessLock.h"
#include "sqlite/StoreTest.h"

namespace {

/// The process that has each lock, as the system would say it; none while it speaks for itself.
thread_local std::optional<pid_t> owner;

}  // namespace

/// Stands in for the C library's.
extern "C" int fcntl(int descriptor, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (owner && command == F_SETLK) {
    errno = EACCES;
    return -1;
  }
  if (owner && command == F_GETLK) {
    static_cast<struct flock*>(argument)->l_pid = *owner;
    return 0;
  }
  return static_cast<int>(syscall(SYS_fcntl, descriptor, command, argument));
}

namespace fliprugair {
namespace {

TEST(AProcessLock, NamesTheProcessThatHasItAsFarAsTheSystemDoes) {
  const TemporaryFolder folder(memory());
  for (const auto& [process, name] :
       {std::pair(pid_t{1}, "process 1"), std::pair(pid_t{4711}, "process 4711"),
        std::pair(pid_t{0}, "another process"), std::pair(pid_t{-1}, "another process")}) {
    ProcessLock lock;
    owner = process;
    EXPECT_EQ(lock.take(folder / "store.lock"), ProcessLock::Outcome::inUse);
    owner = std::nullopt;
    EXPECT_EQ(lock.detail(), name);
  }
}

}  // namespace
}  // namespace fliprugair
