#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "store/StoreFiles.h"

namespace fliprugair {
namespace {

std::string refusalOf(const std::filesystem::path& file) {
  auto opened = SQLiteUserDefaults::open(file, {});
  const auto* refusal = std::get_if<SQLiteUserDefaults::Refusal>(&opened);
  return refusal != nullptr ? refusal->reason : std::string();
}

TEST(AStoreOfANewerVersion, IsRefusedAndLeftAsItIs) {
  const TemporaryFolder folder;
  fill(folder / "store");
  execute(folder / "store", "PRAGMA user_version = 2");
  const std::string content = contentOf(folder / "store");
  const std::string reason = refusalOf(folder / "store");
  EXPECT_NE(reason.find("newer version"), std::string::npos) << reason;
  EXPECT_NE(reason.find((folder / "store").string()), std::string::npos) << reason;
  EXPECT_EQ(contentOf(folder / "store"), content);
  EXPECT_TRUE(filesSetAside(folder).empty());
}

TEST(AStoreOfANewerVersion, IsRefusedWhenItCanOnlyBeReadToo) {
  const TemporaryFolder folder;
  fill(folder / "store");
  execute(folder / "store", "PRAGMA user_version = 2");
  makeUnlockable(folder / "store");
  const std::string reason = refusalOf(folder / "store");
  EXPECT_NE(reason.find("newer version"), std::string::npos) << reason;
}

TEST(StoreOwnership, ASecondStoreInThisProcessIsRefused) {
  const TemporaryFolder folder;
  auto store = openStore(folder / "store");
  EXPECT_NE(refusalOf(folder / "store").find("process " + std::to_string(getpid())), std::string::npos);
  store->setObject(1, "key");
  store->synchronize();
  EXPECT_EQ(AfterSuddenDeath(folder / "store")->objectForKey("key"), Value(1));
  store.reset();
  EXPECT_EQ(refusalOf(folder / "store"), "");
}

TEST(StoreOwnership, ASecondProcessIsRefusedUntilTheFirstDies) {
  const TemporaryFolder folder;
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t first = fork();
  ASSERT_GE(first, 0);
  if (first == 0) {
    const auto store = openStore(folder / "store");
    store->setObject("first", "key");
    store->synchronize();
    if (write(ready[1], "x", 1) != 1) _exit(1);
    while (true) pause();
  }
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  const std::string reason = refusalOf(folder / "store");
  EXPECT_NE(reason.find("in use by process " + std::to_string(first)), std::string::npos) << reason;
  EXPECT_NE(reason.find((folder / "store").string()), std::string::npos) << reason;

  kill(first, SIGKILL);
  waitpid(first, nullptr, 0);
  EXPECT_EQ(openStore(folder / "store")->objectForKey("key"), Value("first"));
}

TEST(StoreOwnership, ASecondStoreIsRefusedWhenTheLockFileWasDeletedToo) {
  const TemporaryFolder folder;
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t first = fork();
  ASSERT_GE(first, 0);
  if (first == 0) {
    const auto store = openStore(folder / "store");
    if (write(ready[1], "x", 1) != 1) _exit(1);
    while (true) pause();
  }
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  std::filesystem::remove(folder / "store.lock");
  EXPECT_NE(refusalOf(folder / "store").find("in use"), std::string::npos);
  kill(first, SIGKILL);
  waitpid(first, nullptr, 0);
}

}  // namespace
}  // namespace fliprugair
