#include <algorithm>
#include <chrono>
#include <thread>

#include "platform/sqlite/RowImage.h"
#include "sqlite/FaultyMedium.h"
#include "sqlite/StoreFiles.h"
#include "support/Eventually.h"

namespace fliprugair {
namespace {

constexpr int batchSize = 25;  // records

Value batch(int number) {
  std::vector<Value> records;
  for (int index = 0; index < batchSize; ++index) records.push_back(Value{{"record", batchSize * number + index}});
  return Array(std::move(records));
}

/// Batches from `begin` to `end`, each under its number.
Dictionary batches(int begin, int end) {
  std::vector<std::pair<std::string, Value>> pairs;
  for (int number = begin; number < end; ++number) pairs.emplace_back(std::to_string(number), batch(number));
  return Dictionary(std::move(pairs));
}

/// Dies with its object; its files stay as they are at that moment.
class ACopy {
 public:
  explicit ACopy(const std::filesystem::path& file) { copyStore(file, this->file()); }
  std::filesystem::path file() const { return folder_ / "store"; }
  const TemporaryFolder& folder() const { return folder_; }

 private:
  const TemporaryFolder folder_{memory()};
};

/// How many records stand in the file, whoever they belong to.
std::size_t recordsIn(const std::filesystem::path& file) {
  const ACopy copy(file);
  const auto rows = RowImage(copy.file()).rows(false);
  return static_cast<std::size_t>(std::count_if(rows.begin(), rows.end(), [](const Row& row) {
    return row.value.isDictionary() && row.value.dictionary().holds("record");
  }));
}

class AConfirmedBatch : public testing::Test {
 protected:
  AConfirmedBatch() {
    const Dictionary all = batches(0, 3);
    queue(all);
    queue(all.removing("0"));
  }

  void queue(const Dictionary& waiting) {
    store_->setObject(waiting, "queue");
    store_->synchronize();
  }

  const TemporaryFolder folder_{memory()};
  const std::filesystem::path file_ = folder_ / "store";
  StoreLog log_;
  std::unique_ptr<SQLiteUserDefaults> store_ = openStore(file_, log_.sink());
};

TEST_F(AConfirmedBatch, IsGoneAtOnceAndItsRecordsAreSoonAfter) {
  EXPECT_EQ(AfterSuddenDeath(file_)->objectForKey("queue"), Value(batches(1, 3)));
  EXPECT_EQ(recordsIn(file_), 3U * batchSize);
  EXPECT_TRUE(eventually([&] { return recordsIn(file_) == 2U * batchSize; }));
  EXPECT_EQ(AfterSuddenDeath(file_)->objectForKey("queue"), Value(batches(1, 3)));
}

TEST_F(AConfirmedBatch, KeepsItsRecordsInTheFileWhileOthersAreWritten) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(2500);
  for (int number = 0; std::chrono::steady_clock::now() < end; ++number) {
    store_->setObject(number, "key");
    store_->synchronize();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // of the store's real clock, too short to be quiet
  }
  EXPECT_EQ(recordsIn(file_), 3U * batchSize);
}

TEST_F(AConfirmedBatch, LeavesNothingBehindAtACleanEnd) {
  store_.reset();
  EXPECT_EQ(recordsIn(file_), 2U * batchSize);
  EXPECT_EQ(openStore(file_)->objectForKey("queue"), Value(batches(1, 3)));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(AConfirmedBatch, LeavesNothingBehindAfterASuddenDeathEither) {
  const ACopy copy(file_);
  const auto next = openStore(copy.file(), log_.sink());
  EXPECT_EQ(next->objectForKey("queue"), Value(batches(1, 3)));
  EXPECT_TRUE(eventually([&] { return recordsIn(copy.file()) == 2U * batchSize; }));
  EXPECT_EQ(next->objectForKey("queue"), Value(batches(1, 3)));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(AConfirmedBatch, HasNobodyTakeItsRecordsOver) {
  queue({});
  ACopy copy(file_);
  const Value next = Value{{"another", Array{1, 2}}, {"and another", Array{3}}};
  for (const char* key : {"first", "second", "third"}) {
    {
      const auto store = openStore(copy.file(), log_.sink());
      store->setObject(next, key);
      store->synchronize();
      AfterSuddenDeath after(copy.file());
      EXPECT_EQ(after->objectForKey(key), next);
      EXPECT_EQ(after->objectForKey("queue"), Value(Dictionary()));
    }
    const auto store = openStore(copy.file(), log_.sink());
    EXPECT_EQ(store->objectForKey(key), next);
  }
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(AConfirmedBatch, HasNobodyTakeItsRecordsOverWhereSQLiteReadsTheFile) {
  queue({});
  const ACopy copy(file_);
  execute(copy.file(), "CREATE VIEW unusual AS SELECT 1");  // with which it is not read without SQLite
  const auto store = openStore(copy.file(), log_.sink());
  const Value next = Value{{"another", Array{1, 2}}};
  store->setObject(next, "next");
  store->synchronize();
  EXPECT_EQ(AfterSuddenDeath(copy.file())->objectForKey("next"), next);
  EXPECT_TRUE(eventually([&] { return recordsIn(copy.file()) == 0; }));
  EXPECT_EQ(store->objectForKey("next"), next);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(AConfirmedBatch, IsNotThereAgainWhenTheFileIsDamaged) {
  store_.reset();
  store_ = openStoreWithoutJournal(file_, log_.sink());  // so that the file has it now
  const Dictionary all = batches(0, 3);
  queue(all);
  queue(all.removing("0"));
  const ACopy copy(file_);
  execute(copy.file(), "UPDATE rows SET checksum = checksum + 1 WHERE name = 'queue'");
  EXPECT_EQ(openStore(copy.file(), log_.sink())->objectForKey("queue"), Value(batches(1, 3)));
  ASSERT_EQ(log_.lines().size(), 1U);
  EXPECT_NE(log_.lines().front().find("1 key and 52 records of it are kept, at least 1 row lost"), std::string::npos)
      << log_.lines().front();
}

TEST_F(AConfirmedBatch, IsReadBeforeItsRecordsGoWhenSomebodyStillHasIt) {
  store_.reset();
  store_ = openStore(file_);
  const Value unread = store_->objectForKey("queue").dictionary()["1"];
  queue(store_->objectForKey("queue").dictionary().removing("1"));
  ASSERT_TRUE(eventually([&] { return recordsIn(file_) == batchSize; }));
  EXPECT_EQ(unread.array().size(), std::size_t{batchSize});
}

TEST_F(AConfirmedBatch, GoesBeforeItsRecordsWhenTheDiskIsFullAtFirst) {
  store_.reset();
  {
    const FaultyMedium medium(FaultyMedium::Operation::fill, 1000000);
    store_ = openStore(file_, log_.sink());
  }
  {
    const FaultyMedium full(FaultyMedium::Operation::fill, 0, FaultyMedium::Span::lasting);
    queue(store_->objectForKey("queue").dictionary().removing("1"));
    store_->synchronize();
  }
  EXPECT_TRUE(eventually([&] { return recordsIn(file_) == 1U * batchSize; }));
  EXPECT_EQ(AfterSuddenDeath(file_)->objectForKey("queue"), Value(batches(2, 3)));
}

constexpr int batchesOfALife = 100;  ///< whose records are removed at a start or an end

TEST(ManyConfirmedBatches, AreRemovedByAStartThoughItsLifeMayBeShort) {
  const TemporaryFolder folder(memory());
  const auto store = openStore(folder / "store");
  store->setObject(batches(0, batchesOfALife + 10), "queue");
  store->synchronize();
  store->setObject(Dictionary(), "queue");
  store->synchronize();
  const ACopy copy(folder / "store");
  ASSERT_EQ(recordsIn(copy.file()), (batchesOfALife + 10U) * batchSize);
  const auto next = openStore(copy.file());
  EXPECT_EQ(recordsIn(copy.file()), 10U * batchSize);
}

TEST(ManyConfirmedBatches, AreRemovedWithoutAQuietMomentWhenTheyAreTooMany) {
  const TemporaryFolder folder(memory());
  const auto store = openStoreWithoutJournal(folder / "store");
  constexpr int kept = 2000;
  store->setObject(batches(0, kept + 40), "queue");
  store->synchronize();
  store->setObject(Dictionary(), "queue");
  store->synchronize();
  int number = 0;
  EXPECT_TRUE(eventually([&] {
    store->setObject(++number, "key");
    store->synchronize();
    return recordsIn(folder / "store") <= std::size_t{kept} * batchSize;
  }));
  EXPECT_GT(recordsIn(folder / "store"), std::size_t{kept - 40} * batchSize);
}

TEST(AStoreOfTheSecondFormat, HasNoRecordsWithoutAnOwnerButByDamage) {
  const TemporaryFolder folder(memory());
  const auto file = folder / "store";
  openStore(file)->setObject(batches(0, 2), "queue");
  execute(file, "PRAGMA user_version = 2; DELETE FROM rows WHERE name = '0'; DELETE FROM twins WHERE name = '0'");
  StoreLog log;
  EXPECT_EQ(openStore(file, log.sink())->objectForKey("queue"), Value(batches(1, 2)));
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_NE(log.lines().front().find("rows without an owner"), std::string::npos) << log.lines().front();
}

TEST(AStoreOfTheSecondFormat, GoesOnAsOneOfToday) {
  const TemporaryFolder folder(memory());
  const auto file = folder / "store";
  const Value queue = batches(0, 3);
  openStore(file)->setObject(queue, "queue");
  execute(file, "PRAGMA user_version = 2");
  StoreLog log;
  for (int life = 0; life < 2; ++life) EXPECT_EQ(openStore(file, log.sink())->objectForKey("queue"), queue);
  EXPECT_EQ(RowImage(file).formatVersion(), RowFile::formatVersion);
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
}  // namespace fliprugair
