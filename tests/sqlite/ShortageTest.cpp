// What a store lacks for a while is used once it is there: what was written since then survives a kill.

#include <csignal>

#include "sqlite/StoreFiles.h"
#include "support/FewDescriptors.h"
#include "support/UnprivilegedProcess.h"

namespace fliprugair {
namespace {

void append(SQLiteUserDefaults& store, const char* record) {
  store.setObject(store.objectForKey("records").array().appending(record), "records");
  store.synchronize();
}

TEST(AShortageOfDescriptors, CostsNoRecordOnceItIsOver) {
  int refused = 0;
  int open = 0;
  for (std::size_t left = 0; left < 8; ++left) {
    const TemporaryFolder folder(memory());
    const auto file = folder / "store";
    leaveWithLog(file, [](SQLiteUserDefaults& store) { store.setObject(Array{"a"}, "records"); });
    std::unique_ptr<SQLiteUserDefaults> store;
    {
      const FewDescriptors few(left);
      auto opened = SQLiteUserDefaults::open(file, {});
      if (auto* found = std::get_if<std::unique_ptr<SQLiteUserDefaults>>(&opened)) {
        store = std::move(*found);
        append(*store, "b");
      }
    }
    (store ? open : refused) += 1;
    if (!store) store = openStore(file);  // nothing was done to it
    ASSERT_TRUE(store) << left;
    append(*store, "c");
    const Array kept = AfterSuddenDeath(file)->objectForKey("records").array();
    EXPECT_EQ(kept, store->objectForKey("records").array()) << left;
    EXPECT_EQ(kept.size(), open > 0 ? 3U : 2U) << left;
    EXPECT_TRUE(filesSetAside(folder).empty()) << left;
  }
  EXPECT_GT(refused, 0);
  EXPECT_GT(open, 1);
}

TEST(ALogThatCanOnlyBeRead, IsWrittenOnceItCanBe) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  leaveWithLog(file, [](SQLiteUserDefaults& store) { store.setObject(Array{"a"}, "records"); });
  std::filesystem::permissions(folder.path(), std::filesystem::perms{0777});
  for (const char* suffix : {"", ".lock"}) {
    std::filesystem::permissions(file.string() + suffix, std::filesystem::perms{0666});
  }
  std::filesystem::permissions(file.string() + "-wal", std::filesystem::perms{0444});
  const UnprivilegedProcess writer([&](UnprivilegedProcess& self) {
    StoreLog log;
    const auto store = openStore(file, log.sink());
    if (!store || store->objectForKey("records") != Value(Array{"a"})) return 3;
    append(*store, "b");
    if (log.lines().size() != 1 || !self.pauseUntilTold()) return 4;
    append(*store, "c");
    raise(SIGKILL);
    return 5;
  });
  EXPECT_TRUE(writer.waitForPause());
  std::filesystem::permissions(file.string() + "-wal", std::filesystem::perms{0666});
  writer.tell();
  const int status = writer.waitForEnd();
  EXPECT_TRUE(WIFSIGNALED(status)) << "it ended with " << WEXITSTATUS(status);
  EXPECT_EQ(openStore(file)->objectForKey("records"), Value(Array{"a", "b", "c"}));
}

}  // namespace
}  // namespace fliprugair
