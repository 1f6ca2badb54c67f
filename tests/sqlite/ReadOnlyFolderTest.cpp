#include "sqlite/StoreFiles.h"
#include "support/UnprivilegedProcess.h"

namespace fliprugair {
namespace {

TEST(AReadOnlyFolder, IsStillRead) {
  const TemporaryFolder folder;
  fill(folder / "store");
  std::filesystem::remove(folder / "store.lock");
  std::filesystem::permissions(folder / "store", std::filesystem::perms{0444});
  std::filesystem::permissions(folder.path(), std::filesystem::perms{0555});
  const UnprivilegedProcess reader([&](UnprivilegedProcess&) {
    StoreLog log;
    const auto store = openStore(folder / "store", log.sink());
    if (!store || store->objectForKey("key") != Value("identity")) return 3;
    store->setObject("new", "key");
    store->synchronize();
    return log.lines().size() == 1 && store->objectForKey("key") == Value("new") ? 0 : 4;
  });
  EXPECT_EQ(reader.waitForEnd(), 0);
  std::filesystem::permissions(folder.path(), std::filesystem::perms{0755});
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
  const UnprivilegedProcess writer([&](UnprivilegedProcess& self) {
    StoreLog log;
    const auto store = openStore(file, log.sink());
    if (!store || store->objectForKey("records") != Value(Array{"a1"})) return 3;
    store->setObject(store->objectForKey("records").array().appending("b1"), "records");
    store->synchronize();
    if (log.lines().size() != 1 || !self.pauseUntilTold()) return 4;
    store->synchronize();
    return log.lines().size() == 2 ? 0 : 5;
  });
  EXPECT_TRUE(writer.waitForPause());
  permit(0777, 0666);
  writer.tell();
  EXPECT_EQ(writer.waitForEnd(), 0);
  EXPECT_EQ(openStore(file)->objectForKey("records"), Value(Array{"a1", "b1"}));
}

}  // namespace
}  // namespace fliprugair
