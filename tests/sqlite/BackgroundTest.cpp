#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <limits>
#include <thread>

#include "platform/sqlite/Checkpointer.h"
#include "platform/sqlite/RowFile.h"
#include "sqlite/StoreTest.h"
#include "support/Eventually.h"
#include "support/ThreadSleeps.h"

namespace {

thread_local int waitsForTheDisk = 0;
thread_local bool isTheTest = false;

std::atomic<bool> diskIsStuck = false;  ///< for all threads but the test's
std::atomic<int> waitingThreads = 0;
}  // namespace

/// Stands in for the C library's, for SQLite too, and counts.
extern "C" int fdatasync(int descriptor) {
  ++waitsForTheDisk;
  ++waitingThreads;
  while (diskIsStuck && !isTheTest) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));  // a lock here would order threads that are to race
  }
  --waitingThreads;
  return static_cast<int>(syscall(SYS_fdatasync, descriptor));
}

namespace fliprugair {
namespace {

bool isCut(const std::filesystem::path& file) { return logSize(file) < 10000; }

/// Of the log, in bytes.
constexpr std::uintmax_t longLog = 32 + RowFile::logTarget * std::uintmax_t{RowFile::pageSize + 24};
constexpr std::uintmax_t logAtItsLimit = 32 + RowFile::logLimit * std::uintmax_t{RowFile::pageSize + 24};
constexpr std::uintmax_t logAtItsBound = 32 + RowFile::logBound * std::uintmax_t{RowFile::pageSize + 24};

TEST(StoreBackground, CopiesTheLogIntoTheFileAndEmptiesItWhileTheCallerNeverWaitsForTheDisk) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  auto store = openStoreWithoutJournal(file);
  waitsForTheDisk = 0;
  Array queue;
  const auto append = [&] {
    queue = queue.appending(record(0));
    store->setObject(queue, "queue");
    store->synchronize();
  };
  while (logSize(file) < longLog) append();
  ASSERT_TRUE(eventually([&] { return isCut(file); }));
  for (int number = 0; number < 100; ++number) append();
  EXPECT_GT(std::filesystem::file_size(file), queue.size() * 400);
  EXPECT_EQ(waitsForTheDisk, 0);
  store.reset();
  EXPECT_GT(waitsForTheDisk, 0);
  EXPECT_EQ(openStore(file)->objectForKey("queue"), Value(queue));
}

TEST(StoreBackground, DoesNotWaitForTheDiskInThePlaceOfACallerWhoIsToSurviveAPowerCut) {
  const TemporaryFolder folder;
  const auto store = openStore(folder / "store", {}, surviving);
  waitsForTheDisk = 0;
  for (int number = 0; number < 3; ++number) {
    store->setObject(number, "key");
    store->synchronize();
  }
  EXPECT_EQ(waitsForTheDisk, 3);
}

/// A store whose background thread waits for the disk, to which its log is being copied.
class AStoreBeingCopied : public testing::Test {
 protected:
  void SetUp() override {
    isTheTest = true;
    std::vector<Value> items;
    for (int number = 0; number < 8000; ++number) items.push_back(record(number));
    openStore(file_)->setObject(Array(std::move(items)), "more than SQLite keeps in memory");
    store_ = openStoreWithoutJournal(file_);
    while (logSize(file_) < longLog) append();
    diskIsStuck = true;
    ASSERT_TRUE(eventually([] { return waitingThreads > 0; }));
  }
  void TearDown() override { diskIsStuck = false; }

  void append() {
    queue_ = queue_.appending(record(0));
    store_->setObject(queue_, "queue");
    store_->synchronize();
  }

  const TemporaryFolder folder_;
  const std::filesystem::path file_ = folder_ / "store";
  std::unique_ptr<SQLiteUserDefaults> store_;
  Array queue_;
};

TEST_F(AStoreBeingCopied, KeepsNoCallerWaiting) {
  waitsForTheDisk = 0;
  std::atomic<bool> isDone = false;
  std::thread caller([&] {
    for (int number = 0; number < 100; ++number) append();
    isDone = true;
  });
  EXPECT_TRUE(eventually([&] { return isDone.load(); }));
  EXPECT_EQ(waitingThreads, 1);
  diskIsStuck = false;
  caller.join();
  store_.reset();
  EXPECT_EQ(openStore(file_)->objectForKey("queue"), Value(queue_));
}

/// A store of which one text is written again and again.
class AWrittenStore : public testing::Test {
 protected:
  /// Writes `size` bytes and a number.
  void write(std::size_t size) {
    last_ = std::string(size, 'x') + std::to_string(++number_);
    store_->setObject(last_, "key");
    store_->synchronize();
  }

  /// Another one each time SQLite begins its log at the beginning of the file.
  std::string beginningOfTheLog() const {
    std::string beginning(32, '\0');
    std::ifstream(file_.string() + "-wal", std::ios::binary).read(beginning.data(), 32);
    return beginning;
  }

  const TemporaryFolder folder_;
  const std::filesystem::path file_ = folder_ / "store";
  std::unique_ptr<SQLiteUserDefaults> store_ = openStoreWithoutJournal(file_);
  std::string last_;
  int number_ = 0;
};

TEST_F(AWrittenStore, KeepsItsLogWhileWritesFollowEachOther) {
  while (logSize(file_) < longLog) write(4000);
  const auto size = logSize(file_);
  waitsForTheDisk = 0;
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(2500);
  while (std::chrono::steady_clock::now() < end) {
    write(4000);
    ASSERT_EQ(waitingThreads, 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // a pause too short to count as idleness
  }
  EXPECT_GT(logSize(file_), size);
  EXPECT_EQ(waitsForTheDisk, 0);
}

TEST_F(AWrittenStore, HasALogAtItsLimitBegunAnewWithoutAPauseAndItsRoomGivenBackInOne) {
  while (logSize(file_) < logAtItsLimit) write(4000);
  ASSERT_TRUE(eventually([&, before = beginningOfTheLog()] {  // the writes are a millisecond apart, which is no pause
    write(4000);
    return beginningOfTheLog() != before;
  }));
  EXPECT_GE(logSize(file_), logAtItsLimit);
  EXPECT_EQ(AfterSuddenDeath(file_)->objectForKey("key"), Value(last_));
  EXPECT_TRUE(eventually([&] { return isCut(file_); }));
  EXPECT_EQ(AfterSuddenDeath(file_)->objectForKey("key"), Value(last_));
}

TEST_F(AWrittenStore, WhoseWritesEndWhenItsLogIsAtItsLimitGivesItsRoomBackToo) {
  while (logSize(file_) < logAtItsLimit) write(4000);
  EXPECT_TRUE(eventually([&] { return isCut(file_); }));
  EXPECT_EQ(AfterSuddenDeath(file_)->objectForKey("key"), Value(last_));
}

TEST_F(AWrittenStore, GivesBackTheRoomOfAnOlderLogAtItsStart) {
  while (logSize(file_) < logAtItsLimit) write(4000);
  ASSERT_TRUE(eventually([&, before = beginningOfTheLog()] {
    write(4000);
    return beginningOfTheLog() != before;
  }));
  const TemporaryFolder copy(memory());
  for (const char* suffix : {"", "-wal"})
    std::filesystem::copy(file_.string() + suffix, (copy / "store").string() + suffix);
  ASSERT_GE(logSize(copy / "store"), logAtItsLimit);
  const auto store = openStore(copy / "store");
  EXPECT_TRUE(isCut(copy / "store"));
  EXPECT_EQ(store->objectForKey("key"), Value(last_));
}

TEST_F(AWrittenStore, KeepsNoCallerWaitingWhenItsLogIsAtItsLimitAndTheDiskIsStuck) {
  isTheTest = true;
  diskIsStuck = true;
  while (logSize(file_) < logAtItsLimit) write(400000);
  ASSERT_TRUE(eventually([] { return waitingThreads > 0; }));
  waitsForTheDisk = 0;
  for (int number = 0; number < 100; ++number) write(10);
  EXPECT_EQ(waitsForTheDisk, 0);
  EXPECT_EQ(waitingThreads, 1);
  diskIsStuck = false;
  store_.reset();
  EXPECT_EQ(openStore(file_)->objectForKey("key"), Value(last_));
}

TEST_F(AWrittenStore, HasWhoWritesFasterThanTheDiskWaitForIt) {
  diskIsStuck = true;
  std::atomic<pid_t> writer = 0;
  std::atomic<bool> isDone = false;
  std::uintmax_t longest = 0;
  std::thread thread([&] {
    isTheTest = true;
    writer = gettid();
    for (int number = 0; number < 100; ++number) {
      write(100000);
      longest = std::max(longest, logSize(file_));
    }
    isDone = true;
  });
  EXPECT_TRUE(eventually([&] { return isDone || (logSize(file_) >= logAtItsBound && isAsleep(writer)); }));
  EXPECT_FALSE(isDone);
  diskIsStuck = false;
  thread.join();
  EXPECT_LT(longest, 8'000'000U);
  store_.reset();
  EXPECT_EQ(openStore(file_)->objectForKey("key"), Value(last_));
}

TEST_F(AWrittenStore, GoesOnInANewFileWhenItsOwnIsTakenAwayWhileItsLogIsCopied) {
  isTheTest = true;
  diskIsStuck = true;
  while (logSize(file_) < logAtItsLimit) write(400000);
  ASSERT_TRUE(eventually([] { return waitingThreads > 0; }));
  for (const char* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(file_.string() + suffix);
  write(10);
  diskIsStuck = false;
  ASSERT_TRUE(eventually([] { return waitingThreads == 0; }));
  write(10);
  EXPECT_EQ(AfterSuddenDeath(file_)->objectForKey("key"), Value(last_));
  store_.reset();
  EXPECT_EQ(openStore(file_)->objectForKey("key"), Value(last_));
}

TEST_F(AWrittenStore, WhoseLogWasEmptiedIsWholeAfterASuddenDeath) {
  while (logSize(file_) < longLog) write(4000);
  ASSERT_TRUE(eventually([&] { return isCut(file_); }));
  EXPECT_EQ(AfterSuddenDeath(file_)->objectForKey("key"), Value(last_));
  write(4000);
  EXPECT_EQ(AfterSuddenDeath(file_)->objectForKey("key"), Value(last_));
}

TEST_F(AWrittenStore, BecomesSmallerWhenNothingIsWrittenAfterMuchHasGone) {
  constexpr std::uintmax_t much = 8 * 1024 * 1024;
  write(much);
  ASSERT_TRUE(eventually([&] { return std::filesystem::file_size(file_) > much; }));
  write(10);
  EXPECT_TRUE(eventually([&] { return std::filesystem::file_size(file_) < much / 4; }));
  EXPECT_EQ(AfterSuddenDeath(file_)->objectForKey("key"), Value(last_));
}

double millisecondsToOpen(const std::filesystem::path& file, std::unique_ptr<SQLiteUserDefaults>& store) {
  const auto begin = std::chrono::steady_clock::now();
  store = openStoreWithoutJournal(file);
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

/// Opens the store, writes about 300 kB and dies. How many milliseconds the opening took.
double liveShortly(const std::filesystem::path& file) {
  std::array<int, 2> ends{};
  EXPECT_EQ(pipe(ends.data()), 0);
  const pid_t child = fork();
  EXPECT_GE(child, 0);
  if (child == 0) {
    std::unique_ptr<SQLiteUserDefaults> store;
    const double opening = millisecondsToOpen(file, store);
    if (write(ends[1], &opening, sizeof opening) != sizeof opening) _exit(1);
    for (int number = 0; number < 50; ++number) {
      store->setObject(std::string(4000, 'x') + std::to_string(number), "key");
      store->synchronize();
    }
    kill(getpid(), SIGKILL);
  }
  double opening = 0;
  EXPECT_EQ(read(ends[0], &opening, sizeof opening), static_cast<ssize_t>(sizeof opening));
  waitpid(child, nullptr, 0);
  for (const int end : ends) close(end);
  return opening;
}

TEST(StoreBackground, IsNotNeededToKeepTheLogOfShortLivesShort) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  const char* given = std::getenv("FLIPRUGAIR_KILLS");
  const int lives = given != nullptr ? std::atoi(given) : 60;
  std::uintmax_t longest = 0;
  std::vector<double> starts;
  double empty = std::numeric_limits<double>::max();
  for (int life = 0; life < lives; ++life) {
    starts.push_back(liveShortly(file));
    longest = std::max(longest, logSize(file));
    const TemporaryFolder fresh;
    std::unique_ptr<SQLiteUserDefaults> another;
    empty = std::min(empty, millisecondsToOpen(fresh / "store", another));
  }
  std::printf("soak: longest log of %d kills %ju bytes\n", lives, longest);
  std::ranges::sort(starts);
  std::printf("soak: starts after them took %.1f ms in the middle, 19 of 20 less than %.1f ms, the slowest %.1f ms\n",
              starts[starts.size() / 2], starts[starts.size() * 19 / 20], starts.back());
  std::printf("soak: the start of an empty store took %.1f ms at best\n", empty);
  EXPECT_GT(longest, longLog);
  EXPECT_LT(longest, 2 * longLog);
  EXPECT_TRUE(openStore(file)->objectForKey("key").text().ends_with("x49"));
}

/// Lives until its log is as long as one can be, and dies.
void liveUntilTheLogIsAtItsBound(const std::filesystem::path& file) {
  const pid_t child = fork();
  EXPECT_GE(child, 0);
  if (child == 0) {
    diskIsStuck = true;
    isTheTest = true;
    const auto store = openStoreWithoutJournal(file);
    for (int number = 0; logSize(file) < logAtItsBound - 100000; ++number) {
      store->setObject(std::string(40000, 'x') + std::to_string(number), "key" + std::to_string(number % 20));
      store->synchronize();
    }
    kill(getpid(), SIGKILL);
  }
  waitpid(child, nullptr, 0);
}

TEST(StoreBackground, IsNotNeededToCutTheLongestLog) {
  const char* given = std::getenv("FLIPRUGAIR_OPENS");
  const int rounds = given != nullptr ? std::atoi(given) : 1;
  const TemporaryFolder folder;
  liveUntilTheLogIsAtItsBound(folder / "store");
  const auto length = logSize(folder / "store");
  EXPECT_GT(length, 6'000'000U);
  std::vector<double> starts;
  std::vector<double> empty;
  std::vector<double> beyond;
  for (int round = 0; round < rounds; ++round) {
    const TemporaryFolder copy;
    copyStore(folder / "store", copy / "store");
    std::unique_ptr<SQLiteUserDefaults> store;
    starts.push_back(millisecondsToOpen(copy / "store", store));
    EXPECT_TRUE(isCut(copy / "store"));
    EXPECT_GT(store->objectForKey("key19").text().size(), 40000U);
    std::unique_ptr<SQLiteUserDefaults> fresh;
    empty.push_back(millisecondsToOpen(copy / "another", fresh));
    beyond.push_back(starts.back() - empty.back());
  }
  std::printf("soak: %d starts with a log of %ju bytes\n", rounds, length);
  const std::array<std::pair<const char*, std::vector<double>*>, 3> rows{
      {{"such a start", &starts}, {"an empty store's", &empty}, {"such a start beyond an empty store's", &beyond}}};
  for (const auto& [name, milliseconds] : rows) {
    std::ranges::sort(*milliseconds);
    std::printf("soak: %s: %.1f ms in the middle, the slowest %.1f ms\n", name,
                (*milliseconds)[milliseconds->size() / 2], milliseconds->back());
  }
}

TEST(StoreBackground, DoesUrgentWorkAtOnce) {
  std::atomic<int> pieces = 0;
  Checkpointer checkpointer([&](bool) { return ++pieces > 0; }, std::chrono::hours(1));
  checkpointer.request(Checkpointer::Urgency::afterPause);
  checkpointer.request(Checkpointer::Urgency::now);
  EXPECT_TRUE(eventually([&] { return pieces == 1; }));
}

TEST(StoreBackground, IsWaitedForOverAnAttemptAndNoLonger) {
  std::atomic<int> pieces = 0;
  Checkpointer checkpointer([&](bool) { return ++pieces < 0; }, std::chrono::hours(1));
  for (int number = 1; number < 4; ++number) {
    checkpointer.awaitAttempt();
    EXPECT_EQ(pieces, number);
  }
}

TEST(StoreBackground, KnowsWhetherAPauseCameBeforeItsWork) {
  std::vector<bool> pauses;
  std::atomic<int> pieces = 0;
  {
    Checkpointer checkpointer(
        [&](bool hasPaused) {
          pauses.push_back(hasPaused);
          return ++pieces > 1;
        },
        std::chrono::milliseconds(1));
    checkpointer.awaitAttempt();
    EXPECT_TRUE(eventually([&] { return pieces == 2; }));
  }
  EXPECT_EQ(pauses, (std::vector<bool>{false, true}));
}

TEST(StoreBackground, SleepsUntilWorkIsRequested) {
  std::atomic<int> pieces = 0;
  {
    Checkpointer checkpointer([&](bool) { return ++pieces >= 0; }, std::chrono::milliseconds(1));
    checkpointer.request(Checkpointer::Urgency::afterPause);
    EXPECT_TRUE(eventually([&] { return pieces > 0; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // in which one that does not sleep does much more
  }
  EXPECT_EQ(pieces, 1);
}

TEST(StoreBackground, DoesNotMissARequestThatComesWhileItWorks) {
  std::atomic<int> pieces = 0;
  std::function<void()> request;
  Checkpointer checkpointer(
      [&](bool) {
        if (++pieces == 1) request();
        return true;
      },
      std::chrono::milliseconds(1));
  request = [&] { checkpointer.request(Checkpointer::Urgency::afterPause); };
  checkpointer.request(Checkpointer::Urgency::afterPause);
  EXPECT_TRUE(eventually([&] { return pieces == 2; }));
}

TEST(StoreBackground, GoesOnUntilTheWorkIsDone) {
  std::atomic<int> pieces = 0;
  Checkpointer checkpointer([&](bool) { return ++pieces % 3 == 0; }, std::chrono::milliseconds(1));
  checkpointer.request(Checkpointer::Urgency::afterPause);
  EXPECT_TRUE(eventually([&] { return pieces == 3; }));
}

}  // namespace
}  // namespace fliprugair
