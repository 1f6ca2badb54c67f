#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "sqlite/StoreFiles.h"

namespace fliprugair {
namespace {

TEST(WhatIsNoFile, IsRefusedAndKeepsNobodyWaiting) {
  const TemporaryFolder folder;
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  std::filesystem::create_directory(folder / "folder");
  std::filesystem::create_symlink("/dev/null", folder / "device");
  for (const char* name : {"pipe", "folder", "device"}) {
    EXPECT_NE(refusalOf(folder / name).find("no regular file"), std::string::npos) << refusalOf(folder / name);
  }
}

TEST(WhatIsNoFile, IsRefusedInThePlaceOfTheLogAndTheLockToo) {
  for (const char* suffix : {"-wal", ".lock"}) {
    const TemporaryFolder folder;
    ASSERT_EQ(mkfifo((folder / "store").string().append(suffix).c_str(), 0600), 0);
    EXPECT_NE(refusalOf(folder / "store").find("no regular file"), std::string::npos) << suffix;
  }
}

TEST(AStoreThatMayBeThere, IsRefusedWhileItCannotBeReached) {
  const TemporaryFolder folder;
  std::ofstream(folder / "blocker") << "a file where a folder should be";
  EXPECT_NE(refusalOf(folder / "blocker/store").find("cannot be opened now"), std::string::npos);
  EXPECT_NE(refusalOf(folder / "blocker/store").find("Not a directory"), std::string::npos);
}

TEST(AStoreThatAppearsLater, BringsItsIdentityAndIsAddedTo) {
  constexpr const char* identifier = "com.marlune.MarluneTracker.deviceId";
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder / "there");
  {
    const auto store = openStore(folder / "there/store");
    store->setObject("MI1", identifier);
    store->setObject(Array{"a1"}, "records");
  }
  std::filesystem::rename(folder / "there", folder / "elsewhere");
  std::ofstream(folder / "there") << "a file where a folder should be";
  const auto store = openStore(folder / "there/store", {}, joining);
  store->setObject("MI2", identifier);
  store->setObject(Array{"b1"}, "records");
  store->synchronize();
  std::filesystem::remove(folder / "there");
  std::filesystem::rename(folder / "elsewhere", folder / "there");
  store->synchronize();
  EXPECT_EQ(store->objectForKey(identifier), Value("MI1"));
  AfterSuddenDeath after(folder / "there/store");
  EXPECT_EQ(after->objectForKey(identifier), Value("MI1"));
  EXPECT_EQ(after->objectForKey("records"), Value(Array{"a1", "b1"}));
}

/// What is said of a store between two writes of which something is taken away; both are there afterwards.
std::vector<std::string> saidWithout(const std::function<void(const std::filesystem::path&)>& takeAway) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  StoreLog log;
  const auto store = openStore(file, log.sink());
  store->setObject("before", "a");
  store->synchronize();
  takeAway(file);
  store->setObject("after", "b");
  store->synchronize();
  AfterSuddenDeath found(file);
  EXPECT_EQ(found->objectForKey("a"), Value("before"));
  EXPECT_EQ(found->objectForKey("b"), Value("after"));
  return log.lines();
}

TEST(AStoreThatIsTakenAway, IsNoticedSaidAndWrittenAnew) {
  for (const auto& lines :
       {saidWithout([](const auto& file) { std::filesystem::rename(file, file.string() + ".gone"); }),
        saidWithout([](const auto& file) { std::filesystem::remove(file); })}) {
    ASSERT_FALSE(lines.empty());
    EXPECT_NE(lines.front().find("taken away"), std::string::npos);
  }
}

TEST(AStoreWhoseLogIsTakenAway, IsWrittenAnewToo) {
  EXPECT_EQ(saidWithout([](const auto& file) { std::filesystem::remove(file.string() + "-wal"); }).size(), 1U);
}

TEST(AStore, BelongsToItsOwnerAlone) {
  const TemporaryFolder folder;
  const auto before = umask(0);
  {
    const auto store = openStore(folder / "a/b/store");
    store->setObject("MI1", "com.marlune.MarluneTracker.deviceId");
    store->synchronize();
    for (const char* name : {"store", "store-wal", "store.lock", "store.identity"}) {
      EXPECT_EQ(std::filesystem::status(folder / "a/b" / name).permissions(), std::filesystem::perms{0600}) << name;
    }
  }
  umask(before);
  for (const char* name : {"a", "a/b"}) {
    EXPECT_EQ(std::filesystem::status(folder / name).permissions(), std::filesystem::perms{0700}) << name;
  }
}

TEST(AStore, BecomesItsOwnersAloneWhenItIsOpened) {
  const TemporaryFolder folder;
  fill(folder / "store");
  std::filesystem::permissions(folder / "store", std::filesystem::perms{0644});
  const auto store = openStore(folder / "store");
  EXPECT_EQ(std::filesystem::status(folder / "store").permissions(), std::filesystem::perms{0600});
}

TEST(AStoreOfTheFirstFormat, IsReadAndGoesOnInTheSecond) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  execute(file,
          "PRAGMA page_size = 2048; PRAGMA journal_mode = WAL; BEGIN;"
          "CREATE TABLE rows (id INTEGER PRIMARY KEY, parent INTEGER NOT NULL, position INTEGER NOT NULL,"
          " name TEXT NOT NULL, value TEXT NOT NULL);"
          "PRAGMA application_id = 1181510000; PRAGMA user_version = 1;"
          "INSERT INTO rows VALUES (1, 0, 1, 'key', '\"identity\"'), (2, 0, 2, 'queue', '[]'), (3, 2, 3, '', '\"a1\"'),"
          " (4, 2, 4, '', '\"a2\"'), (5, 0, 5, 'sent', '{}'), (6, 5, 6, 'x', '{\"y\":1}');"
          "COMMIT");
  for (int time = 0; time < 2; ++time) {
    StoreLog log;
    const auto store = openStore(file, log.sink());
    EXPECT_TRUE(log.lines().empty()) << log.lines().front();
    EXPECT_EQ(store->objectForKey("key"), Value("identity"));
    EXPECT_EQ(store->arrayForKey("queue")->size(), 2U + static_cast<std::size_t>(time));
    EXPECT_EQ(store->objectForKey("sent"), (Value{{"x", Value{{"y", 1}}}}));
    store->setObject(store->objectForKey("queue").array().appending("b1"), "queue");
  }
  execute(file, "UPDATE rows SET value = '\"A1\"' WHERE value = '\"a1\"'");
  EXPECT_EQ(openStore(file)->objectForKey("queue"), Value(Array{"a2", "b1", "b1"}));
}

TEST(ARowNestedWithoutEnd, CostsItselfAlone) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  const std::string deep = std::string(100000, '[') + std::string(100000, ']');
  execute(file, ("PRAGMA page_size = 2048; CREATE TABLE rows (id INTEGER PRIMARY KEY, parent INTEGER NOT NULL,"
                 " position INTEGER NOT NULL, name TEXT NOT NULL, value TEXT NOT NULL);"
                 "PRAGMA application_id = 1181510000; PRAGMA user_version = 1;"
                 "INSERT INTO rows VALUES (1, 0, 1, 'deep', '" +
                 deep + "'), (2, 0, 2, 'key', '\"identity\"')")
                    .c_str());
  StoreLog log;
  const auto store = openStore(file, log.sink());
  EXPECT_TRUE(store->objectForKey("deep").isNull());
  EXPECT_EQ(store->objectForKey("key"), Value("identity"));
  EXPECT_EQ(log.lines().size(), 1U);
}

}  // namespace
}  // namespace fliprugair
