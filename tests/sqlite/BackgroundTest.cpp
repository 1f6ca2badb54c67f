#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <functional>
#include <thread>

#include "platform/sqlite/Checkpointer.h"
#include "platform/sqlite/RowFile.h"
#include "sqlite/StoreTest.h"

namespace {

thread_local int waitsForTheDisk = 0;
thread_local bool isTheTest = false;

std::atomic<bool> diskIsStuck = false;  ///< for all threads but the test's
std::atomic<int> waitingThreads = 0;
std::atomic<bool> cutsFail = false;  ///< those to nothing

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

extern "C" int ftruncate64(int descriptor, off64_t length) noexcept {
  if (cutsFail && length == 0) {
    errno = EIO;
    return -1;
  }
  return static_cast<int>(syscall(SYS_ftruncate, descriptor, length));
}

namespace fliprugair {
namespace {

template <class Condition>
bool comesTrue(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));  // neither the disk nor the file signals anybody
  }
  return true;
}

std::string headerOfLog(const std::filesystem::path& file) {
  std::string header(32, '\0');
  std::ifstream(file.string() + "-wal", std::ios::binary).read(header.data(), 32);
  return header;
}

/// Of the log, in bytes.
constexpr std::uintmax_t longLog = 32 + RowFile::logTarget * std::uintmax_t{RowFile::pageSize + 24};
constexpr std::uintmax_t logAtItsLimit = 32 + RowFile::logLimit * std::uintmax_t{RowFile::pageSize + 24};

TEST(StoreBackground, CopiesTheLogIntoTheFileAndEmptiesItWhileTheCallerNeverWaitsForTheDisk) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  waitsForTheDisk = 0;
  auto store = openStore(file);
  Array queue;
  const auto append = [&] {
    queue = queue.appending(record(0));
    store->setObject(queue, "queue");
    store->synchronize();
  };
  while (logSize(file) < longLog) append();
  ASSERT_TRUE(comesTrue([&] { return logSize(file) == 0; }));
  for (int number = 0; number < 100; ++number) append();
  EXPECT_GT(std::filesystem::file_size(file), queue.size() * 400);
  EXPECT_EQ(waitsForTheDisk, 0);
  store.reset();
  EXPECT_GT(waitsForTheDisk, 0);
  EXPECT_EQ(openStore(file)->objectForKey("queue"), Value(queue));
}

/// A store whose background thread waits for the disk, to which its log is being copied.
class AStoreBeingCopied : public testing::Test {
 protected:
  void SetUp() override {
    isTheTest = true;
    std::vector<Value> items;
    for (int number = 0; number < 8000; ++number) items.push_back(record(number));
    openStore(file_)->setObject(Array(std::move(items)), "more than SQLite keeps in memory");
    store_ = openStore(file_);
    while (logSize(file_) < longLog) append();
    diskIsStuck = true;
    ASSERT_TRUE(comesTrue([] { return waitingThreads > 0; }));
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
  EXPECT_TRUE(comesTrue([&] { return isDone.load(); }));
  EXPECT_EQ(waitingThreads, 1);
  diskIsStuck = false;
  caller.join();
  store_.reset();
  EXPECT_EQ(openStore(file_)->objectForKey("queue"), Value(queue_));
}

TEST_F(AStoreBeingCopied, IsLetGoBeforeADamagedFileIsReplaced) {
  const std::string noise(std::filesystem::file_size(file_) - RowFile::pageSize, '\xA5');
  std::fstream(file_, std::ios::binary | std::ios::in | std::ios::out).seekp(RowFile::pageSize) << noise;
  const auto isReplaced = [&] { return std::filesystem::file_size(file_) < noise.size(); };
  std::atomic<int> done = 0;
  std::thread caller([&] {
    store_->removeObject("more than SQLite keeps in memory");
    store_->synchronize();
    ++done;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(200));  // in which the caller comes to the damage
  std::thread other([&] {
    store_->setObject("other", "key");
    store_->synchronize();
    ++done;
    EXPECT_EQ(AfterSuddenDeath(file_)->objectForKey("key"), Value("other"));
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(200));  // in which the other one does too
  EXPECT_EQ(done, 0);
  EXPECT_FALSE(isReplaced());
  diskIsStuck = false;
  caller.join();
  other.join();
  EXPECT_TRUE(isReplaced());
  append();
  EXPECT_EQ(AfterSuddenDeath(file_)->objectForKey("queue"), Value(queue_));
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

  const TemporaryFolder folder_;
  const std::filesystem::path file_ = folder_ / "store";
  std::unique_ptr<SQLiteUserDefaults> store_ = openStore(file_);
  std::string last_;
  int number_ = 0;
};

TEST_F(AWrittenStore, KeepsItsLogWhileWritesFollowEachOther) {
  while (logSize(file_) < longLog) write(4000);
  const auto size = logSize(file_);
  waitsForTheDisk = 0;
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
  while (std::chrono::steady_clock::now() < end) {
    write(4000);
    ASSERT_EQ(waitingThreads, 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));  // a pause too short to count as idleness
  }
  EXPECT_GT(logSize(file_), size);
  EXPECT_EQ(waitsForTheDisk, 0);
}

TEST_F(AWrittenStore, HasALogAtItsLimitEmptiedInAPauseThatIsNone) {
  while (logSize(file_) < logAtItsLimit) write(400000);
  waitsForTheDisk = 0;
  EXPECT_TRUE(comesTrue([&] {
    write(10);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // much less than what counts as a pause
    return logSize(file_) < logAtItsLimit / 2;
  }));
  EXPECT_EQ(waitsForTheDisk, 0);
  write(10);
  EXPECT_EQ(AfterSuddenDeath(file_)->objectForKey("key"), Value(last_));
}

TEST_F(AWrittenStore, KeepsNoCallerWaitingWhenItsLogIsAtItsLimitAndTheDiskIsStuck) {
  isTheTest = true;
  diskIsStuck = true;
  while (logSize(file_) < logAtItsLimit) write(400000);
  ASSERT_TRUE(comesTrue([] { return waitingThreads > 0; }));
  waitsForTheDisk = 0;
  for (int number = 0; number < 100; ++number) write(10);
  EXPECT_EQ(waitsForTheDisk, 0);
  EXPECT_EQ(waitingThreads, 1);
  diskIsStuck = false;
  store_.reset();
  EXPECT_EQ(openStore(file_)->objectForKey("key"), Value(last_));
}

TEST_F(AWrittenStore, WaitsForTheDiskAgainOnlyUntilItsLogCanBeCutOff) {
  cutsFail = true;
  waitsForTheDisk = 0;
  while (logSize(file_) < longLog) write(4000);
  const std::string header = headerOfLog(file_);
  EXPECT_TRUE(comesTrue([&] {  // an attempt has failed when a write begins the log anew
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));  // the pause in which an attempt is made
    write(4000);
    return headerOfLog(file_) != header;
  }));
  EXPECT_EQ(waitsForTheDisk, 2);  // for the log, and this once for its name in the folder
  EXPECT_EQ(AfterSuddenDeath(file_)->objectForKey("key"), Value(last_));
  cutsFail = false;
  for (int number = 0; number < RowFile::logTarget; ++number) write(4000);
  EXPECT_TRUE(comesTrue([&] { return logSize(file_) == 0; }));
  waitsForTheDisk = 0;
  write(4000);
  EXPECT_EQ(waitsForTheDisk, 0);
  EXPECT_EQ(AfterSuddenDeath(file_)->objectForKey("key"), Value(last_));
}

TEST_F(AWrittenStore, DoesNotLetItsLogGrowWithoutEnd) {
  constexpr std::uintmax_t most = 2 * RowFile::hugeLog * std::uintmax_t{RowFile::pageSize};
  std::uintmax_t size = 0;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(2);
  do {
    ASSERT_LT(std::chrono::steady_clock::now(), deadline);
    ASSERT_LT(size, most);
    size = std::max(size, logSize(file_));
    write(100000);
  } while (logSize(file_) >= size);
  EXPECT_EQ(AfterSuddenDeath(file_)->objectForKey("key"), Value(last_));
}

TEST_F(AWrittenStore, WhoseLogWasEmptiedIsWholeAfterASuddenDeath) {
  while (logSize(file_) < longLog) write(4000);
  ASSERT_TRUE(comesTrue([&] { return logSize(file_) == 0; }));
  EXPECT_EQ(AfterSuddenDeath(file_)->objectForKey("key"), Value(last_));
  write(4000);
  EXPECT_GT(logSize(file_), 0U);
  EXPECT_EQ(AfterSuddenDeath(file_)->objectForKey("key"), Value(last_));
}

TEST(StoreBackground, SleepsUntilWorkIsRequested) {
  std::atomic<int> pieces = 0;
  {
    Checkpointer checkpointer([&] { return ++pieces >= 0; }, std::chrono::milliseconds(1));
    checkpointer.request();
    EXPECT_TRUE(comesTrue([&] { return pieces > 0; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // in which one that does not sleep does much more
  }
  EXPECT_EQ(pieces, 1);
}

TEST(StoreBackground, DoesNotMissARequestThatComesWhileItWorks) {
  std::atomic<int> pieces = 0;
  std::function<void()> request;
  Checkpointer checkpointer(
      [&] {
        if (++pieces == 1) request();
        return true;
      },
      std::chrono::milliseconds(1));
  request = [&] { checkpointer.request(); };
  checkpointer.request();
  EXPECT_TRUE(comesTrue([&] { return pieces == 2; }));
}

TEST(StoreBackground, GoesOnUntilTheWorkIsDone) {
  std::atomic<int> pieces = 0;
  Checkpointer checkpointer([&] { return ++pieces % 3 == 0; }, std::chrono::milliseconds(1));
  checkpointer.request();
  EXPECT_TRUE(comesTrue([&] { return pieces == 3; }));
}

}  // namespace
}  // namespace fliprugair
