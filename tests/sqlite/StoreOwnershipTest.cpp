#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "sqlite/StoreFiles.h"

namespace fliprugair {
namespace {

TEST(AStoreOfANewerVersion, IsRefusedAndLeftAsItIs) {
  const TemporaryFolder folder;
  fill(folder / "store");
  execute(folder / "store", "PRAGMA user_version = 5");
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
  execute(folder / "store", "PRAGMA user_version = 5");
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

/// A process that has the store in a file open, with "first" under "key", until it is killed.
class OtherProcess {
 public:
  explicit OtherProcess(const std::filesystem::path& file) {
    int ready[2];
    EXPECT_EQ(pipe(ready), 0);
    process_ = fork();
    if (process_ == 0) {
      const auto store = openStore(file);
      store->setObject("first", "key");
      store->synchronize();
      if (write(ready[1], "x", 1) != 1) _exit(1);
      while (true) pause();
    }
    close(ready[1]);
    char byte = 0;
    EXPECT_EQ(read(ready[0], &byte, 1), 1);
    close(ready[0]);
  }
  ~OtherProcess() { end(); }
  OtherProcess(const OtherProcess&) = delete;
  OtherProcess& operator=(const OtherProcess&) = delete;

  pid_t number() const { return process_; }
  void end() {
    if (process_ > 0) {
      kill(process_, SIGKILL);
      waitpid(process_, nullptr, 0);
    }
    process_ = -1;
  }

 private:
  pid_t process_ = -1;
};

TEST(StoreOwnership, ASecondProcessIsRefusedUntilTheFirstDies) {
  const TemporaryFolder folder;
  OtherProcess first(folder / "store");
  const std::string reason = refusalOf(folder / "store");
  EXPECT_NE(reason.find("in use by process " + std::to_string(first.number())), std::string::npos) << reason;
  EXPECT_NE(reason.find((folder / "store").string()), std::string::npos) << reason;

  first.end();
  EXPECT_EQ(openStore(folder / "store")->objectForKey("key"), Value("first"));
}

TEST(StoreOwnership, ASecondStoreIsRefusedWhenTheLockFileWasDeletedToo) {
  const TemporaryFolder folder;
  const OtherProcess first(folder / "store");
  std::filesystem::remove(folder / "store.lock");
  EXPECT_NE(refusalOf(folder / "store").find("in use"), std::string::npos);
}

}  // namespace
}  // namespace fliprugair
