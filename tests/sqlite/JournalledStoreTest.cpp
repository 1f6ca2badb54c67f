// What a store does with its journal.
#include <sqlite3.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <future>
#include <thread>

#include "platform/UnreadValue.h"
#include "platform/sqlite/Database.h"
#include "platform/sqlite/RowFile.h"
#include "platform/sqlite/StoredValue.h"
#include "sqlite/FaultyMedium.h"
#include "sqlite/StoreFiles.h"
#include "support/Eventually.h"
#include "support/ThreadSleeps.h"

namespace fliprugair {
namespace {

constexpr std::uintmax_t longJournal = 128 * 1024;

void append(SQLiteUserDefaults& store, int number) {
  store.update("queue", [&](const Value& queue) { return Value(queue.array().appending(record(number))); });
  store.setObject(number, "last");
  store.synchronize();
}

class AJournalledStore : public testing::Test {
 protected:
  /// As a process leaves it that has appended `count` records and dies.
  void die(int count) {
    store_.reset();
    removeAll();
    leaveWithJournal(
        file_, [&](SQLiteUserDefaults& store) { write(store, count); }, 0);
  }

  static void write(SQLiteUserDefaults& store, int count) {
    for (int number = 0; number < count; ++number) append(store, number);
  }

  void removeAll() {
    for (const char* suffix : {"", "-wal", "-shm", ".identity", Journal::suffixes[0], Journal::suffixes[1]})
      std::filesystem::remove(file_.string() + suffix);
  }

  std::string pathOf(std::size_t journal) const { return file_.string() + Journal::suffixes[journal]; }

  const TemporaryFolder folder_{memory()};
  const std::filesystem::path file_ = folder_ / "store";
  StoreLog log_;
  std::unique_ptr<SQLiteUserDefaults> store_ = openStore(file_, log_.sink());
};

TEST_F(AJournalledStore, WritesNothingElseForACall) {
  append(*store_, 0);
  const std::string before = contentOf(file_) + contentOf(file_.string() + "-wal");
  const std::uintmax_t size = journalSize(file_);
  append(*store_, 1);
  EXPECT_EQ(contentOf(file_) + contentOf(file_.string() + "-wal"), before);
  EXPECT_GT(journalSize(file_), size + 400);
  EXPECT_LT(journalSize(file_), size + 1000);
  EXPECT_EQ(numbersIn(*AfterSuddenDeath(file_).operator->()), upTo(2));
}

TEST_F(AJournalledStore, FilesItsJournalWhenItIsLong) {
  int number = 0;
  const auto hasBeenFiled = [&] {
    return Database(file_.string(), Database::Mode::readWrite)
               .integer("SELECT count(*) FROM rows WHERE value LIKE '%level finished%'") > 100;
  };
  EXPECT_TRUE(eventually([&] {
    append(*store_, number++);
    return hasBeenFiled();
  }));
  EXPECT_TRUE(eventually([&] { return journalSize(file_) < longJournal; }));
  EXPECT_EQ(numbersIn(*AfterSuddenDeath(file_).operator->()), upTo(number));
  store_.reset();
  EXPECT_EQ(numbersIn(*openStore(file_)), upTo(number));
}

TEST_F(AJournalledStore, NeverFilesWhatWentMeanwhile) {
  for (int round = 0; round < 1500; ++round) {
    append(*store_, round);
    if (round % 10 == 9) store_->removeObject("queue");
  }
  EXPECT_TRUE(eventually([&] { return journalSize(file_) < longJournal; }));
  EXPECT_LT(logSize(file_) + std::filesystem::file_size(file_), 200'000U);
}

TEST_F(AJournalledStore, SaysThatItsLastWriteIsNotWholeOnce) {
  die(3);
  std::filesystem::resize_file(pathOf(0), std::filesystem::file_size(pathOf(0)) - 1);
  auto store = openStore(file_, log_.sink());
  EXPECT_EQ(numbersIn(*store), upTo(2));
  ASSERT_EQ(log_.lines().size(), 1U);
  EXPECT_NE(log_.lines().front().find("last write before this start is not whole"), std::string::npos);
  store.reset();
  store = openStore(file_, log_.sink());
  EXPECT_EQ(log_.lines().size(), 1U);
}

TEST_F(AJournalledStore, LosesNoMoreThanADamagedFrameOfItsJournal) {
  die(12);
  const std::string whole = contentOf(pathOf(0));
  for (std::size_t place = 0; place < whole.size(); place += 97) {
    const TemporaryFolder folder(memory());
    copyStore(file_, folder / "store");
    overwrite((folder / "store").string() + Journal::suffixes[0], place,
              std::string(1, static_cast<char>(~whole[place])));
    StoreLog log;
    const auto store = openStore(folder / "store", log.sink());
    ASSERT_TRUE(store);
    const auto numbers = numbersIn(*store);
    // The first frame has the array's own row, and its twin.
    EXPECT_GE(numbers.size(), place < whole.size() / 12 ? 0U : 11U) << place;
    EXPECT_FALSE(log.lines().empty()) << place;
    EXPECT_EQ(store->integerForKey("last"), place >= whole.size() - whole.size() / 12 ? 10 : 11) << place;
  }
}

TEST_F(AJournalledStore, HasWhatTheJournalOfADamagedFileHas) {
  store_.reset();
  fill(file_, 200);
  leaveWithJournal(
      file_, [&](SQLiteUserDefaults& store) { write(store, 5); }, 200);
  const std::size_t middle = std::filesystem::file_size(file_) / 2 / RowFile::pageSize * RowFile::pageSize;
  overwrite(file_, middle, std::string(RowFile::pageSize, '\xA5'));
  const auto store = openStore(file_, log_.sink());
  const auto numbers = numbersIn(*store);
  EXPECT_EQ((std::vector<std::int64_t>{numbers.end() - 5, numbers.end()}), upTo(5));
  EXPECT_GE(numbers.size(), 200U);
  EXPECT_EQ(store->integerForKey("last"), 4);
  ASSERT_EQ(log_.lines().size(), 1U);
  EXPECT_NE(log_.lines().front().find("set aside"), std::string::npos) << log_.lines().front();
}

TEST_F(AJournalledStore, IsReadWithItsJournalWhereItCannotBeWritten) {
  die(4);
  makeUnlockable(file_);
  const auto store = openStore(file_, log_.sink());
  EXPECT_EQ(numbersIn(*store), upTo(4));
  append(*store, 4);
  EXPECT_EQ(log_.lines().size(), 1U);
  makeLockable(file_);
  append(*store, 5);
  EXPECT_EQ(log_.lines().size(), 2U);
  EXPECT_EQ(numbersIn(*store), upTo(6));
  EXPECT_EQ(numbersIn(*AfterSuddenDeath(file_).operator->()), upTo(6));
}

TEST_F(AJournalledStore, SetsAJournalAsideWhoseFileIsGone) {
  die(4);
  std::filesystem::remove(file_);
  std::filesystem::remove(file_.string() + "-wal");
  const auto store = openStore(file_, log_.sink());
  ASSERT_EQ(log_.lines().size(), 1U);
  EXPECT_NE(log_.lines().front().find("there is a journal without its file"), std::string::npos)
      << log_.lines().front();
  EXPECT_EQ(store->integerForKey("last"), 3);
  EXPECT_FALSE(filesSetAside(folder_).empty());
}

TEST_F(AJournalledStore, SetsTheJournalOfAnotherFileAside) {
  die(4);
  const TemporaryFolder folder(memory());
  openStore(folder / "store")->setObject("another", "key");
  std::filesystem::remove(file_.string() + "-wal");
  std::filesystem::copy_file(folder / "store", file_, std::filesystem::copy_options::overwrite_existing);
  const auto store = openStore(file_, log_.sink());
  EXPECT_EQ(store->objectForKey("key"), Value("another"));
  EXPECT_TRUE(store->objectForKey("queue").isNull());
  ASSERT_EQ(log_.lines().size(), 1U);
  EXPECT_NE(log_.lines().front().find("beside it stands the journal of another; the journal is set aside as"),
            std::string::npos)
      << log_.lines().front();
  EXPECT_EQ(filesSetAside(folder_).size(), 2U);
}

TEST_F(AJournalledStore, IsWrittenAnewWhenItsJournalIsTakenAway) {
  for (std::size_t journal : {0U, 1U}) {
    const int first = static_cast<int>(numbersIn(*store_).size());
    append(*store_, first);
    std::filesystem::remove(pathOf(journal));
    append(*store_, first + 1);
    EXPECT_EQ(numbersIn(*AfterSuddenDeath(file_).operator->()), upTo(first + 2)) << journal;
    EXPECT_EQ(log_.lines().size(), journal + 1) << journal;
  }
  store_.reset();
  EXPECT_EQ(numbersIn(*openStore(file_)), upTo(4));
}

TEST_F(AJournalledStore, GoesOnWithoutAJournalWhereItCannotHaveOne) {
  store_.reset();
  store_ = openStoreWithoutJournal(file_, log_.sink());
  append(*store_, 0);
  append(*store_, 1);
  EXPECT_EQ(numbersIn(*AfterSuddenDeath(file_).operator->()), upTo(2));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(AJournalledStore, IsRefusedWhereSomethingElseHasTheNameOfItsJournal) {
  store_.reset();
  std::filesystem::create_directory(pathOf(1));
  EXPECT_NE(refusalOf(file_).find("no regular file"), std::string::npos);
}

TEST_F(AJournalledStore, IsWrittenAnewFromMemoryWhenItsFileWasDamagedMeanwhile) {
  store_.reset();
  removeAll();
  fill(file_, 8000);  // more than SQLite keeps in memory
  store_ = openStore(file_, log_.sink());
  const Value queue = store_->objectForKey("queue");
  overwrite(file_, 2048, std::string(std::filesystem::file_size(file_) - 2048, '\xA5'));
  store_->setObject("changed", "key");
  store_->removeObject("queue");
  store_->setObject(queue, "copy");
  store_->synchronize();
  store_.reset();
  ASSERT_EQ(log_.lines().size(), 1U);
  EXPECT_NE(log_.lines().front().find("set aside"), std::string::npos) << log_.lines().front();
  store_ = openStore(file_);
  EXPECT_EQ(store_->objectForKey("copy"), queue);
  EXPECT_EQ(store_->objectForKey("key"), Value("changed"));
}

TEST_F(AJournalledStore, LosesNoMoreThanTheNewestWritesInAPowerCut) {
  write(*store_, 10);
  const auto copy = folder_ / "copy";
  std::filesystem::copy_file(file_, copy);
  std::filesystem::copy_file(file_.string() + "-wal", copy.string() + "-wal");
  int number = 10;
  while (journalSize(file_) < longJournal) append(*store_, number++);
  ASSERT_TRUE(eventually([&] { return std::filesystem::file_size(pathOf(0)) == 0; }));
  append(*store_, number++);
  for (const char* suffix : Journal::suffixes)
    std::filesystem::copy_file(file_.string() + suffix, copy.string() + suffix);
  // The file and its log as they were before the journal was brought into them, and the journal as it was afterwards.
  auto store = openStore(copy, log_.sink());
  const auto numbers = numbersIn(*store);
  EXPECT_EQ(numbers, upTo(static_cast<std::int64_t>(numbers.size())));
  ASSERT_EQ(log_.lines().size(), 1U);
  EXPECT_NE(log_.lines().front().find("some of the newest writes before this start are lost"), std::string::npos)
      << log_.lines().front();
  store.reset();
  EXPECT_EQ(numbersIn(*openStore(copy, log_.sink())), numbers);
  EXPECT_EQ(log_.lines().size(), 1U);
}

/// An array that stays text, which `look` learns of each time.
class WatchedText : public UnreadValue::Source {
 public:
  explicit WatchedText(std::function<void()> look) : look_(std::move(look)) {}
  std::string text() const override {
    look_();
    return "[1]";
  }
  std::size_t size() const override { return 1; }
  static Value of(std::function<void()> look) {
    return UnreadValue::of(std::make_shared<WatchedText>(std::move(look)), readStored, 3);
  }

 private:
  const std::function<void()> look_;
};

/// One whose background thread brings its journal into the file, and does not come to an end with that.
class AJournalBeingFiled : public AJournalledStore {
 protected:
  void SetUp() override {
    store_->setObject("kept", "key");
    const Value text =
        WatchedText::of([this, caller = std::this_thread::get_id(), isFirst = std::make_shared<bool>(true)] {
          if (std::this_thread::get_id() == caller || !std::exchange(*isFirst, false)) return;
          isFiling_.set_value();
          mayEnd_.get_future().wait();
        });
    store_->setObject(Value{{"nested", Value{{"deeper", text}}}}, "slow");
    store_->synchronize();
    while (journalSize(file_) < longJournal) append(*store_, number_++);
    isFiling_.get_future().wait();
  }

  std::promise<void> isFiling_;
  std::promise<void> mayEnd_;
  int number_ = 0;
};

TEST_F(AJournalBeingFiled, HasNothingAppendedBehindAWriteThatFailed) {
  std::promise<void> hasFailed;
  std::thread failing([&] {
    const StoreGroup group(*store_);
    store_->setObject(Array{"first"}, "list");
    const Value bad = WatchedText::of([&, isFirst = std::make_shared<bool>(true)] {
      if (!std::exchange(*isFirst, false)) return;
      hasFailed.set_value();
      throw std::bad_alloc();
    });
    store_->setObject(Value{{"nested", Value{{"deeper", bad}}}}, "bad");
    store_->synchronize();
  });
  hasFailed.get_future().wait();
  std::atomic<pid_t> thread = 0;
  std::atomic<bool> hasReturned = false;
  std::thread other([&] {
    thread = gettid();
    store_->update("list", [](const Value& list) { return Value(list.array().appending("second")); });
    store_->synchronize();
    hasReturned = true;
  });
  EXPECT_TRUE(eventually([&] { return hasReturned || (thread != 0 && isAsleep(thread)); }));
  copyStore(file_, folder_ / "copy");
  const bool isPromised = hasReturned;
  mayEnd_.set_value();
  failing.join();
  other.join();
  if (isPromised) {
    EXPECT_EQ(openStore(folder_ / "copy")->arrayForKey("list")->size(), 2U);
  }
  EXPECT_EQ(AfterSuddenDeath(file_)->arrayForKey("list")->size(), 2U);
  EXPECT_EQ(numbersIn(*store_), upTo(number_));
}

TEST_F(AJournalBeingFiled, BringsNoPartOfAWriteThatFailedIntoTheFile) {
  while (std::filesystem::file_size(pathOf(1)) < longJournal) append(*store_, number_++);
  std::promise<void> hasFailed;
  int looks = 0;
  std::thread failing([&] {
    const StoreGroup group(*store_);
    store_->removeObject("key");
    store_->setObject(WatchedText::of([&] {
                        if (++looks == 1) {
                          hasFailed.set_value();
                          throw std::bad_alloc();
                        }
                        if (looks == 2) copyStore(file_, folder_ / "copy");
                      }),
                      "moved");
    store_->synchronize();
  });
  hasFailed.get_future().wait();
  mayEnd_.set_value();
  failing.join();
  ASSERT_GE(looks, 2);
  EXPECT_EQ(openStore(folder_ / "copy")->objectForKey("key"), Value("kept")) << "what the file has when it is repeated";
  AfterSuddenDeath after(file_);
  EXPECT_TRUE(after->objectForKey("key").isNull());
  EXPECT_EQ(after->objectForKey("moved"), Value(Array{1}));
}

/// On a medium that refuses what the background thread writes, for a while.
class AJournalledStoreOnAMedium : public AJournalledStore, public testing::WithParamInterface<FaultyMedium::Operation> {
 protected:
  AJournalledStoreOnAMedium() {
    store_.reset();
    const FaultyMedium medium(GetParam(), 1000000);
    store_ = openStore(file_, log_.sink());
  }
};

TEST_P(AJournalledStoreOnAMedium, LosesNothing) {
  int number = 0;
  std::optional<AfterSuddenDeath> during;
  {
    const FaultyMedium medium(GetParam(), 0, FaultyMedium::Span::lasting);
    ASSERT_TRUE(eventually([&] {
      append(*store_, number++);
      return !log_.lines().empty();
    }));
    EXPECT_NE(log_.lines().front().find("cannot be written"), std::string::npos) << log_.lines().front();
    append(*store_, number++);
    during.emplace(file_);
  }
  EXPECT_GE(numbersIn(*during->operator->()).size(), static_cast<std::size_t>(number - 3));
  append(*store_, number++);
  ASSERT_EQ(log_.lines().size(), 2U);
  EXPECT_NE(log_.lines().back().find("is being written again"), std::string::npos) << log_.lines().back();
  EXPECT_EQ(numbersIn(*AfterSuddenDeath(file_).operator->()), upTo(number));
  append(*store_, number++);
  EXPECT_EQ(numbersIn(*AfterSuddenDeath(file_).operator->()), upTo(number));
  store_.reset();
  EXPECT_EQ(numbersIn(*openStore(file_)), upTo(number));
}

INSTANTIATE_TEST_SUITE_P(Operations, AJournalledStoreOnAMedium,
                         testing::Values(FaultyMedium::Operation::write, FaultyMedium::Operation::fill),
                         [](const auto& parameter) {
                           return std::string(parameter.param == FaultyMedium::Operation::fill ? "Filling" : "Writing");
                         });

}  // namespace
}  // namespace fliprugair
