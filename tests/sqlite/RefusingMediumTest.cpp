#include <fstream>

#include "sqlite/StoreFiles.h"

namespace fliprugair {
namespace {

TEST(AMediumThatRefuses, IsReportedOnceAndWrittenWhenItCan) {
  const TemporaryFolder folder;
  std::ofstream(folder / "blocker") << "a file where a folder should be";
  StoreLog log;
  const auto store = openStore(folder / "blocker/store", log.sink(), joining);
  for (int number = 0; number < 3; ++number) {
    store->setObject(number, "key");
    store->synchronize();
  }
  EXPECT_EQ(store->objectForKey("key"), Value(2));
  EXPECT_EQ(log.lines().size(), 1U);

  std::filesystem::remove(folder / "blocker");
  store->synchronize();
  EXPECT_EQ(log.lines().size(), 2U);
  EXPECT_EQ(AfterSuddenDeath(folder / "blocker/store")->objectForKey("key"), Value(2));
}

TEST(AMediumThatRefuses, GivesUpItsValuesOnceItCanBeRead) {
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder / "there");
  {
    const auto store = openStore(folder / "there/store");
    store->setObject("old", "kept");
    store->setObject("old", "replaced");
    store->setObject("old", "removed");
  }
  std::filesystem::rename(folder / "there", folder / "elsewhere");
  std::ofstream(folder / "there") << "a file where a folder should be";
  const auto store = openStore(folder / "there/store", {}, joining);
  store->setObject("new", "replaced");
  store->removeObject("removed");

  std::filesystem::remove(folder / "there");
  std::filesystem::rename(folder / "elsewhere", folder / "there");
  store->synchronize();
  EXPECT_EQ(store->objectForKey("kept"), Value("old"));
  AfterSuddenDeath after(folder / "there/store");
  EXPECT_EQ(after->objectForKey("kept"), Value("old"));
  EXPECT_EQ(after->objectForKey("replaced"), Value("new"));
  EXPECT_TRUE(after->objectForKey("removed").isNull());
}

TEST(AMediumThatRefuses, IsReadWithItsLogAndLosesNothingOfIt) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  leaveWithLog(file, [](SQLiteUserDefaults& store) {
    store.setObject(Array{"a1", "a2", "a3"}, "records");
    store.removeObject("key");
  });
  makeUnlockable(file);
  StoreLog log;
  const auto store = openStore(file, log.sink());
  EXPECT_EQ(store->objectForKey("records"), Value(Array{"a1", "a2", "a3"}));
  EXPECT_TRUE(store->objectForKey("key").isNull());
  store->setObject(store->objectForKey("records").array().appending("b1"), "records");
  store->synchronize();
  EXPECT_EQ(log.lines().size(), 1U);

  makeLockable(file);
  store->synchronize();
  EXPECT_EQ(log.lines().size(), 2U);
  AfterSuddenDeath after(file);
  EXPECT_EQ(after->objectForKey("records"), Value(Array{"a1", "a2", "a3", "b1"}));
  EXPECT_EQ(after->arrayForKey("queue")->size(), 3U);
  EXPECT_TRUE(after->objectForKey("key").isNull());
}

TEST(AMediumThatRefuses, IsJoinedWithWhatWasWrittenBeforeItCouldBeRead) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  leaveWithLog(file, [](SQLiteUserDefaults& store) {
    store.setObject(Array{"a1", "a2"}, "records");
    store.setObject(Array{"c1"}, "moved");
    store.setObject(Value{{"x", 1}, {"y", 1}}, "requests");
    store.setObject("old", "text");
    store.setObject("old", "untouched");
  });
  const auto elsewhere = folder / "elsewhere";
  std::filesystem::rename(file, elsewhere);
  makeUnlockable(file);
  const auto store = openStore(file);
  EXPECT_TRUE(store->objectForKey("records").isNull());
  store->setObject(Array{"b1"}, "records");
  store->setObject(Array{"d1"}, "moved");
  store->removeObject("moved");
  store->setObject(Value{{"y", 2}, {"z", 2}}, "requests");
  store->setObject("new", "text");
  store->synchronize();

  std::filesystem::rename(elsewhere, file);
  makeLockable(file);
  store->synchronize();
  AfterSuddenDeath after(file);
  for (SQLiteUserDefaults* each : {store.get(), after.operator->()}) {
    EXPECT_EQ(each->objectForKey("records"), Value(Array{"a1", "a2", "b1"}));
    EXPECT_EQ(each->objectForKey("moved"), Value(Array{"c1"}));
    EXPECT_EQ(each->objectForKey("requests"), (Value{{"x", 1}, {"y", 2}, {"z", 2}}));
    EXPECT_EQ(each->objectForKey("text"), Value("new"));
    EXPECT_EQ(each->objectForKey("untouched"), Value("old"));
  }
}

TEST(StoreDiagnostics, AreGivenWithNoLockHeld) {
  const TemporaryFolder folder;
  std::ofstream(folder / "blocker") << "a file where a folder should be";
  std::unique_ptr<SQLiteUserDefaults> store;
  int lines = 0;
  store = openStore(
      folder / "blocker/store",
      [&](std::string_view) {
        ++lines;
        if (!store) return;
        store->synchronize();
        store->setObject(store->objectForKey("key"), "copy");
      },
      joining);
  std::filesystem::remove(folder / "blocker");
  store->setObject(1, "key");
  store->synchronize();
  EXPECT_EQ(lines, 2);
  EXPECT_EQ(store->objectForKey("copy"), Value(1));
}

TEST(StoreDiagnostics, AreDroppedWhenTheLogThrows) {
  const TemporaryFolder folder;
  std::ofstream(folder / "store") << "damage";
  const auto store = openStore(folder / "store", [](std::string_view) { throw std::runtime_error("no log"); });
  store->setObject(1, "key");
  EXPECT_EQ(store->objectForKey("key"), Value(1));
}

}  // namespace
}  // namespace fliprugair
