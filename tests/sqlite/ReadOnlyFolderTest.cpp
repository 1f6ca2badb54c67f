#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

#include "sqlite/StoreFiles.h"

namespace fliprugair {
namespace {

TEST(AReadOnlyFolder, IsStillRead) {
  const TemporaryFolder folder;
  fill(folder / "store");
  std::filesystem::remove(folder / "store.lock");
  std::filesystem::permissions(folder / "store", std::filesystem::perms{0444});
  std::filesystem::permissions(folder.path(), std::filesystem::perms{0555});
  const pid_t reader = fork();
  ASSERT_GE(reader, 0);
  if (reader == 0) {
    constexpr uid_t nobody = 65534;  // rights are nothing to root
    if (getuid() == 0 && (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0)) _exit(2);
    StoreLog log;
    const auto store = openStore(folder / "store", log.sink());
    if (!store || store->objectForKey("key") != Value("identity")) _exit(3);
    store->setObject("new", "key");
    store->synchronize();
    _exit(log.lines().size() == 1 && store->objectForKey("key") == Value("new") ? 0 : 4);
  }
  int status = -1;
  waitpid(reader, &status, 0);
  std::filesystem::permissions(folder.path(), std::filesystem::perms{0755});
  EXPECT_EQ(status, 0);
}

TEST(AReadOnlyFolder, IsWrittenOnceItCanBe) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  leaveWithLog(file, [](SQLiteUserDefaults& store) { store.setObject(Array{"a1"}, "records"); });
  const auto permit = [&](unsigned all, unsigned files) {
    for (const char* suffix : {"", "-wal", ".lock"}) {
      std::filesystem::permissions(file.string() + suffix, std::filesystem::perms{files});
    }
    std::filesystem::permissions(folder.path(), std::filesystem::perms{all});
  };
  permit(0555, 0444);
  int failed[2];
  int permitted[2];
  ASSERT_EQ(pipe(failed), 0);
  ASSERT_EQ(pipe(permitted), 0);
  const pid_t writer = fork();
  ASSERT_GE(writer, 0);
  if (writer == 0) {
    constexpr uid_t nobody = 65534;  // rights are nothing to root
    if (getuid() == 0 && (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0)) _exit(2);
    StoreLog log;
    const auto store = openStore(file, log.sink());
    if (!store || store->objectForKey("records") != Value(Array{"a1"})) _exit(3);
    store->setObject(store->objectForKey("records").array().appending("b1"), "records");
    store->synchronize();
    char byte = 'x';
    if (log.lines().size() != 1 || write(failed[1], &byte, 1) != 1 || read(permitted[0], &byte, 1) != 1) _exit(4);
    store->synchronize();
    _exit(log.lines().size() == 2 ? 0 : 5);
  }
  close(failed[1]);
  char byte = 'x';
  EXPECT_EQ(read(failed[0], &byte, 1), 1);
  permit(0777, 0666);
  EXPECT_EQ(write(permitted[1], &byte, 1), 1);
  int status = -1;
  waitpid(writer, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(openStore(file)->objectForKey("records"), Value(Array{"a1", "b1"}));
}

}  // namespace
}  // namespace fliprugair
