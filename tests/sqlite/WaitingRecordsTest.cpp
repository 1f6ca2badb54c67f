// Batches that wait since an earlier start: their records are in the store's file until somebody needs them.

#include <fstream>

#include "platform/UnreadValue.h"
#include "platform/sqlite/RowFile.h"
#include "sqlite/FaultyMedium.h"
#include "sqlite/StoreFiles.h"

namespace fliprugair {
namespace {

Value batchOf(int first, int count = 4) {
  std::vector<Value> records;
  for (int number = first; number < first + count; ++number) records.push_back(record(number));
  return Array(std::move(records));
}

/// Three batches wait in the dictionary "queue" of a store that has been opened anew.
class WaitingRecords : public testing::Test {
 protected:
  WaitingRecords() {
    {
      const auto before = openStore(file_);
      before->setObject(Value{{"1.0", batchOf(0)}, {"2.0", batchOf(10)}, {"3.0", batchOf(20)}}, "queue");
      before->setObject("MI1", identifier);
    }
    reopen();
  }

  void reopen() {
    store_.reset();
    store_ = openStore(file_, log_.sink());
  }

  Value batch(const std::string& name) const { return queue()[name]; }
  Dictionary queue() const { return store_->objectForKey("queue").dictionary(); }
  void setQueue(const Dictionary& queue) {
    store_->setObject(queue, "queue");
    store_->synchronize();
  }

  /// In this life, after a sudden death, and in the next life.
  void expectEverywhere(const std::string& key, const Value& value) {
    EXPECT_EQ(store_->objectForKey(key), value) << "in this life";
    store_->synchronize();
    EXPECT_EQ(AfterSuddenDeath(file_)->objectForKey(key), value) << "after a sudden death";
    reopen();
    EXPECT_EQ(store_->objectForKey(key), value) << "in the next life";
    reopen();
    EXPECT_EQ(store_->objectForKey(key), value) << "in the life after it";
  }

  const Value whole_{{"1.0", batchOf(0)}, {"2.0", batchOf(10)}, {"3.0", batchOf(20)}};
  const TemporaryFolder folder_{memory()};
  const std::filesystem::path file_ = folder_ / "store";
  StoreLog log_;
  std::unique_ptr<SQLiteUserDefaults> store_;
};

TEST_F(WaitingRecords, AreTheSameInEveryLife) {
  EXPECT_NE(UnreadValue::sourceOf(batch("1.0")), nullptr);
  expectEverywhere("queue", whole_);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(WaitingRecords, MoveToAnotherKeyInOneWrite) {
  store_->setObject(batch("2.0"), "moved");
  setQueue(queue().removing("2.0"));
  expectEverywhere("moved", batchOf(10));
  EXPECT_EQ(store_->objectForKey("queue"), Value({{"1.0", batchOf(0)}, {"3.0", batchOf(20)}}));
}

TEST_F(WaitingRecords, MoveToAnotherKeyAndLeaveTheirPlaceInTheNextWrite) {
  store_->setObject(batch("2.0"), "moved");
  store_->synchronize();
  setQueue(queue().removing("2.0"));
  expectEverywhere("moved", batchOf(10));
  EXPECT_EQ(store_->objectForKey("queue"), Value({{"1.0", batchOf(0)}, {"3.0", batchOf(20)}}));
}

TEST_F(WaitingRecords, LeaveTheirPlaceAndComeToAnotherKeyInTheNextWrite) {
  const Value moving = batch("2.0");
  setQueue(queue().removing("2.0"));
  EXPECT_EQ(moving, batchOf(10));
  store_->setObject(moving, "moved");
  store_->synchronize();
  expectEverywhere("moved", batchOf(10));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(WaitingRecords, LeaveTheirPlaceAndComeBackInTheNextWrite) {
  const Dictionary before = queue();
  setQueue(Dictionary());
  setQueue(before);
  expectEverywhere("queue", whole_);
}

TEST_F(WaitingRecords, MoveToAnotherDictionary) {
  store_->setObject(Value{{"first", 1}, {"moved", batch("1.0")}, {"last", batch("3.0")}}, "other");
  setQueue(queue().removing("1.0").removing("3.0"));
  expectEverywhere("other", Value({{"first", 1}, {"moved", batchOf(0)}, {"last", batchOf(20)}}));
  EXPECT_EQ(store_->objectForKey("queue"), Value({{"2.0", batchOf(10)}}));
}

TEST_F(WaitingRecords, MoveIntoAnotherValue) {
  store_->setObject(Value{{"inner", Value{{"deep", Array{batch("1.0"), 1}}}}}, "other");
  setQueue(queue().removing("1.0"));
  expectEverywhere("other", Value({{"inner", Value{{"deep", Array{batchOf(0), 1}}}}}));
}

TEST_F(WaitingRecords, MoveToAnotherNameInTheirDictionary) {
  setQueue(queue().removing("1.0").setting("4.0", batch("1.0")));
  expectEverywhere("queue", Value({{"2.0", batchOf(10)}, {"3.0", batchOf(20)}, {"4.0", batchOf(0)}}));
}

TEST_F(WaitingRecords, ChangePlaces) {
  setQueue(queue().setting("1.0", batch("2.0")).setting("2.0", batch("1.0")));
  expectEverywhere("queue", Value({{"1.0", batchOf(10)}, {"2.0", batchOf(0)}, {"3.0", batchOf(20)}}));
}

TEST_F(WaitingRecords, StandTwiceWhenTheyAreCopied) {
  store_->setObject(queue(), "copy");
  store_->synchronize();
  setQueue(Dictionary());
  expectEverywhere("copy", whole_);
  EXPECT_EQ(store_->objectForKey("queue"), Value(Dictionary()));
}

TEST_F(WaitingRecords, GoOneByOne) {
  setQueue(queue().removing("2.0"));
  expectEverywhere("queue", Value({{"1.0", batchOf(0)}, {"3.0", batchOf(20)}}));
  setQueue(queue().removing("1.0"));
  expectEverywhere("queue", Value({{"3.0", batchOf(20)}}));
  setQueue(queue().removing("3.0"));
  expectEverywhere("queue", Dictionary());
}

TEST_F(WaitingRecords, GoWithTheirKey) {
  store_->removeObject("queue");
  expectEverywhere("queue", Value());
  EXPECT_EQ(store_->objectForKey(identifier), Value("MI1"));
}

TEST_F(WaitingRecords, GiveWayToOthers) {
  setQueue(queue().setting("2.0", batchOf(50)).setting("3.0", "text"));
  expectEverywhere("queue", Value({{"1.0", batchOf(0)}, {"2.0", batchOf(50)}, {"3.0", "text"}}));
}

TEST_F(WaitingRecords, GiveWayToSomeOfThem) {
  setQueue(queue().setting("2.0", Array{batch("2.0").array()[1]}));
  expectEverywhere("queue", Value({{"1.0", batchOf(0)}, {"2.0", Array{record(11)}}, {"3.0", batchOf(20)}}));
}

TEST_F(WaitingRecords, AreJoinedByMore) {
  setQueue(queue().setting("2.0", batch("2.0").array().appending(record(14))));
  expectEverywhere("queue", Value({{"1.0", batchOf(0)}, {"2.0", batchOf(10, 5)}, {"3.0", batchOf(20)}}));
}

TEST_F(WaitingRecords, AreJoinedByOtherBatches) {
  setQueue(queue().setting("4.0", batchOf(30)));
  expectEverywhere("queue",
                   Value({{"1.0", batchOf(0)}, {"2.0", batchOf(10)}, {"3.0", batchOf(20)}, {"4.0", batchOf(30)}}));
}

TEST_F(WaitingRecords, CanBeReadAfterTheirStoreIsGone) {
  const Value value = batch("2.0");
  store_.reset();
  EXPECT_EQ(value, batchOf(10));
}

/// What is done to the file of a store that is open.
struct Removal {
  const char* name;
  std::function<void(const std::filesystem::path&)> make;

  friend void PrintTo(const Removal& removal, std::ostream* out) { *out << removal.name; }
};

void removeStore(const std::filesystem::path& file) {
  for (const char* suffix : {"", "-wal"}) std::filesystem::remove(file.string() + suffix);
}

std::vector<Removal> removals() {
  return {
      {"deleted", removeStore},
      {"deletedWithoutItsLog", [](const auto& file) { std::filesystem::remove(file); }},
      {"renamed", [](const auto& file) { std::filesystem::rename(file, file.string() + ".old"); }},
      {"replaced",
       [](const auto& file) {
         std::ofstream(file.string() + ".new", std::ios::binary) << contentOf(file);
         std::filesystem::rename(file.string() + ".new", file);
       }},
  };
}

class WaitingRecordsWhoseFileIs : public WaitingRecords, public testing::WithParamInterface<Removal> {};

TEST_P(WaitingRecordsWhoseFileIs, AreWrittenAnew) {
  GetParam().make(file_);
  store_->setObject(1, "key");
  store_->synchronize();
  EXPECT_FALSE(log_.lines().empty());
  EXPECT_EQ(queue(), whole_.dictionary());
  expectEverywhere("queue", whole_);
  EXPECT_EQ(store_->objectForKey("key"), Value(1));
}

INSTANTIATE_TEST_SUITE_P(Removals, WaitingRecordsWhoseFileIs, testing::ValuesIn(removals()),
                         [](const auto& parameter) { return parameter.param.name; });

TEST_F(WaitingRecords, AreJoinedToThoseOfAStoreThatCameInTheirFilesPlace) {
  const TemporaryFolder folder(memory());
  openStore(folder / "store")->setObject(Value{{"1.0", batchOf(70)}, {"9.0", batchOf(80)}}, "queue");
  removeStore(file_);
  std::filesystem::copy_file(folder / "store", file_);
  store_->setObject(1, "key");
  store_->synchronize();
  expectEverywhere("queue",
                   Value({{"1.0", batchOf(0)}, {"9.0", batchOf(80)}, {"2.0", batchOf(10)}, {"3.0", batchOf(20)}}));
}

/// With a store whose files are on a medium that can refuse.
class WaitingRecordsOnAMedium : public WaitingRecords {
 protected:
  WaitingRecordsOnAMedium() {
    const FaultyMedium medium(FaultyMedium::Operation::write, 1000000);
    store_.reset();
    store_ = openStoreWithoutJournal(file_, log_.sink());
  }

  void failToWrite() {
    const FaultyMedium medium(FaultyMedium::Operation::write, 0, FaultyMedium::Span::lasting);
    store_->setObject("refused", "key");
    store_->synchronize();
    EXPECT_EQ(log_.lines().size(), 1U);
  }
};

TEST_F(WaitingRecordsOnAMedium, AreNotWrittenAnewAfterAWriteThatFailed) {
  failToWrite();
  EXPECT_THROW(batch("1.0").array(), std::exception) << "the file is closed";
  store_->synchronize();
  EXPECT_LT(logSize(file_), 8U * RowFile::pageSize);
  EXPECT_NE(UnreadValue::sourceOf(batch("1.0")), nullptr);
  expectEverywhere("queue", whole_);
  EXPECT_EQ(store_->objectForKey("key"), Value("refused"));
}

TEST_F(WaitingRecordsOnAMedium, MoveAfterAWriteThatFailed) {
  failToWrite();
  store_->setObject(batch("2.0"), "moved");
  setQueue(queue().removing("2.0"));
  expectEverywhere("moved", batchOf(10));
  EXPECT_EQ(store_->objectForKey("queue"), Value({{"1.0", batchOf(0)}, {"3.0", batchOf(20)}}));
}

TEST_F(WaitingRecordsOnAMedium, AreLostAloneWhenTheirFileGoesAfterAWriteThatFailed) {
  failToWrite();
  removeStore(file_);
  store_->setObject("written", "key");
  store_->synchronize();
  EXPECT_EQ(AfterSuddenDeath(file_)->objectForKey("key"), Value("written"));
  EXPECT_EQ(queue().size(), 3U);
  EXPECT_EQ(batch("1.0"), Value(Array()));
  std::string all;
  for (const std::string& line : log_.lines()) all += line + '\n';
  EXPECT_NE(all.find("no longer has 12 records that waited in it"), std::string::npos) << all;
  EXPECT_NE(all.find("is being written again"), std::string::npos) << all;
  expectEverywhere(identifier, "MI1");
}

TEST_F(WaitingRecordsOnAMedium, StayReadableWhenAnUnusualStoreIsOpenedAgain) {
  failToWrite();
  execute(file_, "CREATE INDEX others ON rows (name)");
  store_->synchronize();
  EXPECT_EQ(queue(), whole_.dictionary());
  setQueue(queue().removing("1.0").setting("4.0", batch("1.0")));
  expectEverywhere("queue", Value({{"2.0", batchOf(10)}, {"3.0", batchOf(20)}, {"4.0", batchOf(0)}}));
}

TEST_F(WaitingRecordsOnAMedium, AreNotLostByAMediumThatRefusesToReadOnce) {
  for (int number = 0;; ++number) {
    {
      const FaultyMedium medium(FaultyMedium::Operation::read, 1000000);
      reopen();
    }
    const FaultyMedium medium(FaultyMedium::Operation::read, number);
    try {
      EXPECT_EQ(queue(), whole_.dictionary());
    } catch (const std::exception&) {
      EXPECT_EQ(queue(), whole_.dictionary()) << number;
    }
    if (!medium.hasFailed()) break;
    ASSERT_LT(number, 200);
  }
  expectEverywhere("queue", whole_);
  EXPECT_TRUE(filesSetAside(folder_).empty());
}

TEST_F(WaitingRecords, AreKeptButForTheOneThatWasAlteredWhileTheStoreWasOpen) {
  const std::string bytes = contentOf(file_);
  overwrite(file_, bytes.find("\"number\":11") + 10, "7");
  EXPECT_THROW(batch("2.0").array(), std::exception);
  EXPECT_EQ(batch("1.0"), batchOf(0));
  store_->setObject(1, "key");
  store_->synchronize();
  ASSERT_EQ(log_.lines().size(), 1U);
  EXPECT_NE(log_.lines().front().find("with 12 records that waited in the file; 1 record lost"), std::string::npos)
      << log_.lines().front();
  EXPECT_FALSE(filesSetAside(folder_).empty());
  expectEverywhere(
      "queue", Value({{"1.0", batchOf(0)}, {"2.0", Array{record(10), record(12), record(13)}}, {"3.0", batchOf(20)}}));
  EXPECT_EQ(store_->objectForKey("key"), Value(1));
  EXPECT_EQ(log_.lines().size(), 1U);
}

TEST_F(WaitingRecords, AreReadByThreadsWhileOthersWriteAndTheLogIsCopied) {
  std::vector<Value> batches;
  for (const auto& entry : queue().entries()) batches.push_back(entry.value);
  const std::vector<Value> expected{batchOf(0), batchOf(10), batchOf(20)};
  std::atomic<bool> ends = false;
  std::atomic<int> readings = 0;
  std::atomic<int> others = 0;
  std::vector<std::thread> readers;
  for (int number = 0; number < 2; ++number) {
    readers.emplace_back([&] {
      while (!ends) {
        for (std::size_t index = 0; index < batches.size(); ++index) {
          const Value copy = queue()[std::to_string(index + 1) + ".0"];
          if (copy != expected[index] && !copy.isNull()) ++others;
          if (batches[index] != expected[index]) ++others;
        }
        ++readings;
      }
    });
  }
  // Enough for logs that are copied at their limit, and at their bound.
  for (int round = 0; round < 60; ++round) {
    store_->setObject(std::string(100 * RowFile::pageSize, static_cast<char>('a' + round % 26)), "long");
    if (round == 30) store_->setObject(queue().removing("2.0"), "queue");
    store_->synchronize();
  }
  while (readings < 4) std::this_thread::yield();
  ends = true;
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(others, 0);
  EXPECT_TRUE(log_.lines().empty()) << log_.lines().front();
  // Its files are not copied here: the log may be cut meanwhile.
  const Value left{{"1.0", batchOf(0)}, {"3.0", batchOf(20)}};
  EXPECT_EQ(store_->objectForKey("queue"), left);
  reopen();
  EXPECT_EQ(store_->objectForKey("queue"), left);
}

TEST_F(WaitingRecords, TakeNoMoreDescriptorsLifeAfterLife) {
  const auto count = [] {
    const std::filesystem::directory_iterator open("/proc/self/fd");
    return std::distance(begin(open), end(open));
  };
  const auto before = count();
  for (int life = 0; life < 5; ++life) {
    reopen();
    EXPECT_EQ(queue(), whole_.dictionary());
  }
  EXPECT_EQ(count(), before);
}

}  // namespace
}  // namespace fliprugair
