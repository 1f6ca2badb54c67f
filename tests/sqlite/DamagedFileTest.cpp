#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>

#include "platform/sqlite/Database.h"
#include "platform/sqlite/RowFile.h"
#include "sqlite/FaultyMedium.h"
#include "sqlite/StoreFiles.h"

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

/// Damages that leave nothing of a store.
std::vector<Damage> totalDamages() {
  return {
      {"text", [](const auto& file) { std::ofstream(file) << "this is not a database, and never was one"; }},
      {"aFewBytes", [](const auto& file) { std::ofstream(file) << "xyz"; }},
      {"noise", [](const auto& file) { std::ofstream(file) << std::string(100000, '\xA5'); }},
      {"anotherProgramsDatabase", bySQL("PRAGMA secure_delete = ON; DROP TABLE rows; DROP TABLE twins; PRAGMA "
                                        "application_id = 0; CREATE TABLE x (y)")},
  };
}

/// And those that leave all or nearly all of it.
std::vector<Damage> damages() {
  return {
      {"aHeaderOfNoise", [](const auto& file) { overwrite(file, 0, std::string(100, '\xA5')); }},
      {"aPageOfNoise", [](const auto& file) { overwrite(file, 2048 * 9, std::string(2048, '\xA5')); }},
      {"aPageOfZeros", [](const auto& file) { overwrite(file, 2048 * 9, std::string(2048, '\0')); }},
      {"aRootOfNoise", [](const auto& file) { overwrite(file, 2048 * 2, std::string(2048, '\xA5')); }},
      {"aVersionThatNeverWas", bySQL("PRAGMA user_version = 0")},
      {"aRowThatIsNotJSON", bySQL("UPDATE rows SET value = '{\"a\":' WHERE name = 'other'")},
      {"anAlteredRow", bySQL("UPDATE rows SET value = '\"identitY\"' WHERE name = 'other'")},
      {"aRowWithoutAByte", bySQL("UPDATE rows SET value = x'' WHERE name = 'other'")},
      {"aRowOfOtherBytes", bySQL("UPDATE rows SET value = x'00FF' WHERE name = 'other'")},
      {"aRowWithoutAnOwner", bySQL("INSERT INTO rows VALUES (9999, 9998, 9999, '', '1', 0)")},
      {"aMissingTable", bySQL("DROP TABLE twins")},
      {"noArrayForItsItemsButATwin", bySQL("UPDATE rows SET checksum = 0 WHERE name = 'queue'")},
  };
}

std::vector<std::filesystem::path> onlyFiles(std::vector<std::filesystem::path> aside) {
  std::erase_if(aside, [](const auto& path) { return path.string().ends_with("-wal"); });
  return aside;
}

class AFileDamagedWholly : public testing::TestWithParam<Damage> {};

TEST_P(AFileDamagedWholly, IsSetAsideAndAFreshOneBegun) {
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
  const auto aside = onlyFiles(filesSetAside(folder));
  ASSERT_EQ(aside.size(), 1U);
  EXPECT_EQ(contentOf(aside.front()), damaged);
  EXPECT_NE(log.lines().front().find("set aside as " + aside.front().filename().string()), std::string::npos)
      << log.lines().front();
  EXPECT_EQ(openStore(file)->objectForKey("key"), Value("new"));
}

INSTANTIATE_TEST_SUITE_P(Damages, AFileDamagedWholly, testing::ValuesIn(totalDamages()),
                         [](const auto& parameter) { return parameter.param.name; });

class ADamagedFile : public testing::TestWithParam<Damage> {};

TEST_P(ADamagedFile, KeepsWhatChecksAndIsSetAside) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  fill(file);
  openStore(file)->setObject("one more", "other");
  GetParam().inflict(file);
  const std::string damaged = contentOf(file);

  StoreLog log;
  {
    const auto store = openStore(file, log.sink());
    ASSERT_TRUE(store);
    EXPECT_EQ(store->objectForKey("key"), Value("identity"));
    const Array queue = store->objectForKey("queue").array();
    EXPECT_GE(queue.size(), 95U);
    for (const Value& item : queue)
      EXPECT_EQ(item, record(static_cast<int>(item.dictionary()["number"].integerValue())));
    store->setObject(queue.appending("new"), "queue");
  }
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_NE(log.lines().front().find("are kept"), std::string::npos) << log.lines().front();
  const auto aside = onlyFiles(filesSetAside(folder));
  ASSERT_EQ(aside.size(), 1U);
  EXPECT_EQ(contentOf(aside.front()), damaged);
  log.clear();
  EXPECT_GE(openStore(file, log.sink())->arrayForKey("queue")->size(), 96U);
  EXPECT_TRUE(log.lines().empty()) << log.lines().front();
}

INSTANTIATE_TEST_SUITE_P(Damages, ADamagedFile, testing::ValuesIn(damages()),
                         [](const auto& parameter) { return parameter.param.name; });

TEST(DamagedFiles, AreAccountedForInTheLog) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  fill(file, 260);
  execute(file, "UPDATE rows SET value = '{}' WHERE id IN (SELECT id FROM rows WHERE name = '' LIMIT 3)");
  StoreLog log;
  EXPECT_EQ(openStore(file, log.sink())->arrayForKey("queue")->size(), 257U);
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_NE(log.lines().front().find("2 keys and 257 records of it are kept, at least 3 rows lost"), std::string::npos)
      << log.lines().front();
}

/// Leaves a store with an identifier and `records` records.
void leave(const std::filesystem::path& file, int records) {
  fill(file, records);
  openStore(file)->setObject("MI1", identifier);
}

TEST(DamagedFiles, LoseNoMoreThanTheirDamagedPageWhereverAByteIsFlipped) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  leave(file, 60);
  const std::string whole = contentOf(file);
  const std::string identity = contentOf(file.string() + ".identity");
  for (std::size_t place = 0; place < whole.size(); place += 64) {
    const TemporaryFolder copies(memory());
    const auto copy = copies / "store";
    std::string damaged = whole;
    damaged[place] = static_cast<char>(damaged[place] ^ 0x10);
    std::ofstream(copy, std::ios::binary) << damaged;
    std::ofstream(copy.string() + ".identity", std::ios::binary) << identity;
    expectWhatIsLeft(copy, 50, "flipped at " + std::to_string(place));
  }
}

TEST(DamagedFiles, LoseNoRecordWhicheverBitOfWhatAPageSaysOfItsRoomWasAltered) {
  const TemporaryFolder folder(memory());
  const auto file = folder / "store";
  std::vector<Value> records;
  for (int number = 0; number < 12; ++number) records.push_back(record(number));
  openStore(file)->setObject(Value{{"1.000000", Array(records)}}, "queue");
  const std::string whole = contentOf(file);
  for (std::size_t page = RowFile::pageSize * 2; page < whole.size(); page += RowFile::pageSize) {
    for (std::size_t bit = 8; bit < 64; ++bit) {
      std::string damaged = whole;
      damaged[page + bit / 8] = static_cast<char>(damaged[page + bit / 8] ^ (1 << bit % 8));
      const TemporaryFolder copies(memory());
      const auto copy = copies / "store";
      std::ofstream(copy, std::ios::binary) << damaged;
      const std::string what = "bit " + std::to_string(bit) + " at " + std::to_string(page);
      StoreLog log;
      {
        const auto store = openStore(copy, log.sink());
        const Dictionary queue = store->objectForKey("queue").dictionary();
        EXPECT_TRUE(!log.lines().empty() || queue["1.000000"].array().size() == records.size()) << what;
        store->setObject(Value(queue.setting("2.000000", Array(records)).setting("3.000000", Array(records))), "queue");
      }
      const std::size_t lines = log.lines().size();
      const Dictionary queue = openStore(copy, log.sink())->objectForKey("queue").dictionary();
      EXPECT_EQ(queue["2.000000"], Value(Array(records))) << what;
      EXPECT_EQ(queue["3.000000"], Value(Array(records))) << what;
      EXPECT_TRUE(lines > 0 || queue["1.000000"] == Value(Array(records))) << what;
      EXPECT_EQ(log.lines().size(), lines) << what << ": " << log.lines().back();
    }
  }
}

TEST(DamagedFiles, AreWrittenAgainWhicheverLetterOfTheirTablesDescriptionWasAltered) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  leave(file, 2);
  const std::string whole = contentOf(file);
  for (const std::string_view table : {"CREATE TABLE rows", "CREATE TABLE twins"}) {
    const std::size_t begin = whole.find(table);
    for (std::size_t place = begin; whole[place - 1] != ')'; ++place) {
      const TemporaryFolder copies(memory());
      const auto copy = copies / "store";
      std::string damaged = whole;
      damaged[place] = static_cast<char>(damaged[place] ^ 0x01);
      std::ofstream(copy, std::ios::binary) << damaged;
      openStore(copy)->setObject("written", "later");
      EXPECT_EQ(openStore(copy)->objectForKey("later"), Value("written")) << whole.substr(begin, place - begin);
    }
  }
}

TEST(DamagedFiles, AreWrittenAgainWhenTheirHeaderNamesAFormatThatThereIsNot) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  leave(file, 60);
  const std::string whole = contentOf(file);
  for (const std::size_t place : {18, 19, 47, 60, 61, 62}) {  // SQLite's for writing, reading and tables; our own
    const TemporaryFolder copies(memory());
    const auto copy = copies / "store";
    std::string damaged = whole;
    damaged[place] = static_cast<char>(damaged[place] ^ 0x10);
    std::ofstream(copy, std::ios::binary) << damaged;
    expectWhatIsLeft(copy, 60, "flipped at " + std::to_string(place));
    openStore(copy)->setObject("written", "later");
    EXPECT_EQ(openStore(copy)->objectForKey("later"), Value("written")) << place;
  }
}

TEST(DamagedFiles, AreWrittenAgainWhenNotEvenTheirHeaderIsWhole) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  fill(file, 1);
  std::string damaged = contentOf(file).substr(0, 78);
  damaged[47] = 0x10;
  std::ofstream(file, std::ios::binary) << damaged;
  openStore(file)->setObject("written", "later");
  EXPECT_EQ(openStore(file)->objectForKey("later"), Value("written"));
}

TEST(DamagedFiles, LoseNoMoreThanWhatIsCutOff) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  leave(file, 60);
  const std::string whole = contentOf(file);
  const std::string identity = contentOf(file.string() + ".identity");
  std::size_t before = 0;
  for (std::size_t size = 0; size < whole.size(); size += 64) {
    const TemporaryFolder copies(memory());
    const auto copy = copies / "store";
    std::ofstream(copy, std::ios::binary) << whole.substr(0, size);
    std::ofstream(copy.string() + ".identity", std::ios::binary) << identity;
    StoreLog log;
    const auto store = openStore(copy, log.sink());
    ASSERT_TRUE(store) << size;
    EXPECT_EQ(store->objectForKey(identifier), Value("MI1")) << size;
    const Array queue = store->objectForKey("queue").array();
    for (const Value& item : queue) {
      ASSERT_EQ(item, record(static_cast<int>(item.dictionary()["number"].integerValue()))) << size;
    }
    EXPECT_GE(queue.size(), before) << "less is left of " << size << " bytes than of fewer";
    before = queue.size();
  }
  EXPECT_GE(before, 50U);
}

TEST(TheIdentity, SurvivesTheLossOfTheFile) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  leave(file, 3);
  openStore(file)->setObject(false, "com.marlune.MarluneTracker.sendInitial");
  std::filesystem::remove(file);
  const auto store = openStore(file);
  EXPECT_EQ(store->objectForKey(identifier), Value("MI1"));
  EXPECT_EQ(store->objectForKey("com.marlune.MarluneTracker.sendInitial"), Value(false));
  EXPECT_TRUE(store->objectForKey("key").isNull());
}

TEST(TheIdentity, HoldsWhileADamagedFileCannotBeSetAside) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  leave(file, 3);
  openStore(file)->setObject(false, "com.marlune.MarluneTracker.sendInitial");
  std::ofstream(file) << "damage";
  {
    const FaultyMedium medium(FaultyMedium::Operation::rename, 0, FaultyMedium::Span::lasting);
    const auto store = openStore(file);
    EXPECT_EQ(store->objectForKey(identifier), Value("MI1"));
    EXPECT_EQ(store->objectForKey("com.marlune.MarluneTracker.sendInitial"), Value(false));
    store->setObject(1, "key");
  }
  const auto store = openStore(file);
  EXPECT_EQ(store->objectForKey(identifier), Value("MI1"));
}

TEST(TheIdentity, SurvivesTheLossOfItsCopy) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  leave(file, 3);
  for (const char* damage : {"", "1\n{}", "noise"}) {
    std::ofstream(file.string() + ".identity") << damage;
    EXPECT_EQ(openStore(file)->objectForKey(identifier), Value("MI1"));
    EXPECT_NE(contentOf(file.string() + ".identity").find("MI1"), std::string::npos);
  }
}

TEST(TheIdentity, IsTheFilesWhenThatIsHealthy) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  leave(file, 3);
  const std::string older = contentOf(file.string() + ".identity");
  {
    const auto store = openStore(file);
    store->setObject("MI2", identifier);
    store->setObject("usd", "com.marlune.MarluneTracker.currency");
  }
  std::ofstream(file.string() + ".identity") << older;
  EXPECT_EQ(openStore(file)->objectForKey(identifier), Value("MI2"));
}

TEST(DamagedFiles, DoNotIncludeOneWhoseCreationWasCutShort) {
  const TemporaryFolder folder;
  execute(folder / "store", "PRAGMA page_size = 2048; PRAGMA auto_vacuum = INCREMENTAL; PRAGMA journal_mode = WAL");
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
  std::unique_ptr<SQLiteUserDefaults> store;
  {
    const FaultyMedium medium(FaultyMedium::Operation::rename, 0, FaultyMedium::Span::lasting);
    store = openStore(file);
    store->setObject("value", "key");
    store->synchronize();
    EXPECT_TRUE(filesSetAside(folder).empty());
  }
  store->synchronize();
  EXPECT_EQ(filesSetAside(folder).size(), 1U);
  EXPECT_EQ(AfterSuddenDeath(file)->objectForKey("key"), Value("value"));
}

TEST(DamagedFiles, AreReadOnceWhenTheyCannotBeSetAsideAtOnce) {
  const TemporaryFolder folder(memory());
  const auto file = folder / "store";
  fill(file);
  overwrite(file, 0, std::string(100, '?'));
  std::unique_ptr<SQLiteUserDefaults> store;
  {
    const FaultyMedium medium(FaultyMedium::Operation::rename, 0, FaultyMedium::Span::lasting);
    store = openStore(file);
    EXPECT_EQ(store->objectForKey("queue").array().size(), 100U);
    store->setObject(Array({record(7)}), "queue");
    store->synchronize();
  }
  store->synchronize();
  EXPECT_EQ(filesSetAside(folder).size(), 1U);
  EXPECT_EQ(store->objectForKey("queue"), Value(Array({record(7)})));
  EXPECT_EQ(AfterSuddenDeath(file)->objectForKey("queue"), Value(Array({record(7)})));
}

TEST(DamagedFiles, AreNotSetAsideAgainAndAgainByAMediumThatDamagesFreshOnes) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  fill(file);
  std::unique_ptr<SQLiteUserDefaults> store;
  {
    const FaultyMedium medium(FaultyMedium::Operation::trueReading, 0, FaultyMedium::Span::lasting);
    store = openStore(file);
    const std::size_t setAside = filesSetAside(folder).size();
    EXPECT_GT(setAside, 0U);
    for (int number = 0; number < 3; ++number) {
      store->setObject(number, "number");
      store->synchronize();
    }
    EXPECT_EQ(filesSetAside(folder).size(), setAside);
  }
  store->synchronize();
  EXPECT_EQ(AfterSuddenDeath(file)->objectForKey("number"), Value(2));
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
  auto store = openStoreWithoutJournal(file, log.sink());
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
