#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <fstream>
#include <functional>

#include "sqlite/StoreFiles.h"

namespace {

std::atomic<bool> renamesFail = false;

}  // namespace

/// Stands in for the C library's.
extern "C" int rename(const char* from, const char* to) noexcept {
  if (renamesFail) {
    errno = EROFS;
    return -1;
  }
  return static_cast<int>(syscall(SYS_rename, from, to));
}

namespace fliprugair {
namespace {

struct Damage {
  const char* name;
  std::function<void(const std::filesystem::path&)> inflict;

  friend void PrintTo(const Damage& damage, std::ostream* out) { *out << damage.name; }
};

std::function<void(const std::filesystem::path&)> bySQL(const char* sql) {
  return [sql](const std::filesystem::path& file) { execute(file, sql); };
}

std::vector<Damage> damages() {
  return {
      {"text", [](const auto& file) { std::ofstream(file) << "this is not a database, and never was one"; }},
      {"aFewBytes", [](const auto& file) { std::ofstream(file) << "xyz"; }},
      {"noise", [](const auto& file) { std::ofstream(file) << std::string(100000, '\xA5'); }},
      {"aHeaderOfNoise", [](const auto& file) { overwrite(file, 0, std::string(100, '\xA5')); }},
      {"aPageOfNoise", [](const auto& file) { overwrite(file, 2048 * 9, std::string(2048, '\xA5')); }},
      {"aPageOfZeros", [](const auto& file) { overwrite(file, 2048 * 9, std::string(2048, '\0')); }},
      {"halfAFile",
       [](const auto& file) { std::filesystem::resize_file(file, std::filesystem::file_size(file) / 4096 * 2048); }},
      {"anotherProgramsDatabase", bySQL("DROP TABLE rows; PRAGMA application_id = 0; CREATE TABLE x (y)")},
      {"aVersionThatNeverWas", bySQL("PRAGMA user_version = 0")},
      {"aMissingTable", bySQL("DROP TABLE rows")},
      {"otherColumns", bySQL("ALTER TABLE rows RENAME COLUMN value TO content")},
      {"aRowThatIsNotJSON", bySQL("UPDATE rows SET value = '{\"a\":' WHERE name = 'key'")},
      {"aRowOfOtherBytes", bySQL("UPDATE rows SET value = x'00FF' WHERE name = 'key'")},
      {"aRowWithoutAnOwner", bySQL("INSERT INTO rows VALUES (9999, 9998, 9999, '', '1')")},
      {"anItemOfAText", bySQL("INSERT INTO rows SELECT 9999, id, 9999, '', '1' FROM rows WHERE name = 'key'")},
      {"aKeyThatStandsTwice", bySQL("INSERT INTO rows VALUES (9999, 0, 9999, 'key', '1')")},
  };
}

class ADamagedFile : public testing::TestWithParam<Damage> {};

TEST_P(ADamagedFile, IsSetAsideAndAFreshOneBegun) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  fill(file);
  GetParam().inflict(file);
  const std::string damaged = contentOf(file);

  StoreLog log;
  {
    const auto store = openStore(file, log.sink());
    ASSERT_TRUE(store);
    EXPECT_TRUE(store->objectForKey("key").isNull());
    EXPECT_TRUE(store->objectForKey("queue").isNull());
    store->setObject("new", "key");
  }
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_NE(log.lines().front().find("set aside"), std::string::npos) << log.lines().front();
  auto aside = filesSetAside(folder);
  std::erase_if(aside, [](const auto& path) { return path.string().ends_with("-wal"); });
  ASSERT_EQ(aside.size(), 1U);
  EXPECT_EQ(contentOf(aside.front()), damaged);
  EXPECT_NE(log.lines().front().find(aside.front().filename()), std::string::npos) << log.lines().front();
  EXPECT_EQ(openStore(file)->objectForKey("key"), Value("new"));
}

INSTANTIATE_TEST_SUITE_P(Damages, ADamagedFile, testing::ValuesIn(damages()),
                         [](const auto& parameter) { return parameter.param.name; });

TEST(DamagedFiles, DoNotIncludeOneWhoseCreationWasCutShort) {
  const TemporaryFolder folder;
  execute(folder / "store", "PRAGMA page_size = 2048; PRAGMA journal_mode = WAL");
  ASSERT_GT(std::filesystem::file_size(folder / "store"), 0U);
  StoreLog log;
  openStore(folder / "store", log.sink())->setObject(1, "key");
  EXPECT_TRUE(log.lines().empty()) << log.lines().front();
  EXPECT_EQ(openStore(folder / "store")->objectForKey("key"), Value(1));
}

TEST(DamagedFiles, NeverReplaceEachOther) {
  const TemporaryFolder folder;
  for (int time = 0; time < 3; ++time) {
    std::ofstream(folder / "store") << "damage " << time;
    openStore(folder / "store");
  }
  std::vector<std::string> contents;
  for (const auto& file : filesSetAside(folder)) contents.push_back(contentOf(file));
  std::ranges::sort(contents);
  EXPECT_EQ(contents, (std::vector<std::string>{"damage 0", "damage 1", "damage 2"}));
}

TEST(DamagedFiles, AreSetAsideOnceThatIsPossible) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  std::ofstream(file) << "this is not a database, and never was one";
  StoreLog log;
  renamesFail = true;
  const auto store = openStore(file, log.sink());
  store->setObject("value", "key");
  store->synchronize();
  EXPECT_TRUE(filesSetAside(folder).empty());
  renamesFail = false;
  store->synchronize();
  EXPECT_EQ(filesSetAside(folder).size(), 1U);
  EXPECT_EQ(AfterSuddenDeath(file)->objectForKey("key"), Value("value"));
}

TEST(DamagedFiles, TakeTheirLogWithThem) {
  const TemporaryFolder folder;
  std::ofstream(folder / "store") << "damage";
  std::ofstream(folder / "store-wal") << "log";
  {
    const auto store = openStore(folder / "store");
    store->setObject(1, "key");
  }
  std::vector<std::string> contents;
  for (const auto& file : filesSetAside(folder)) contents.push_back(contentOf(file));
  std::ranges::sort(contents);
  EXPECT_EQ(contents, (std::vector<std::string>{"damage", "log"}));
}

TEST(DamagedFiles, AreWrittenAfreshFromMemoryWhenTheyAreInUse) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  fill(file, 8000);  // more than SQLite keeps in memory
  StoreLog log;
  auto store = openStore(file, log.sink());
  const Value queue = store->objectForKey("queue");
  overwrite(file, 2048, std::string(std::filesystem::file_size(file) - 2048, '\xA5'));
  store->setObject(queue, "copy");
  store->removeObject("queue");
  store->synchronize();
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_NE(log.lines().front().find("set aside"), std::string::npos) << log.lines().front();
  store.reset();
  store = openStore(file);
  EXPECT_EQ(store->objectForKey("copy"), queue);
  EXPECT_TRUE(store->objectForKey("queue").isNull());
  EXPECT_EQ(store->objectForKey("key"), Value("identity"));
  EXPECT_FALSE(filesSetAside(folder).empty());
}

}  // namespace
}  // namespace fliprugair
