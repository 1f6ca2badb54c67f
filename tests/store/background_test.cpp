#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <thread>

#include "platform/linux/store/Checkpointer.h"
#include "platform/linux/store/RowFile.h"
#include "store/StoreTest.h"

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
  while (diskIsStuck && !isTheTest) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  --waitingThreads;
  return static_cast<int>(syscall(SYS_fdatasync, descriptor));
}

namespace fliprugair {
namespace {

template <class Condition>
bool comesTrue(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

std::string headerOfLog(const std::filesystem::path& file) {
  std::string header(32, '\0');
  std::ifstream(file.string() + "-wal", std::ios::binary).read(header.data(), 32);
  return header;
}

TEST(StoreBackground, CopiesTheLogIntoTheFileAndBeginsItAnewWhileTheCallerNeverWaitsForTheDisk) {
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
  const std::string header = headerOfLog(file);
  while (logSize(file) < 32 + RowFile::logTarget * (RowFile::pageSize + 24)) append();
  ASSERT_TRUE(comesTrue([&] { return headerOfLog(file) != header; }));
  const auto size = logSize(file);
  for (int number = 0; number < 100; ++number) append();
  EXPECT_EQ(logSize(file), size);
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
    while (logSize(file_) < 32 + RowFile::logTarget * (RowFile::pageSize + 24)) append();
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
  std::atomic<bool> isDone = false;
  std::thread caller([&] {
    store_->removeObject("more than SQLite keeps in memory");
    store_->synchronize();
    isDone = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(200));  // in which the caller comes to the damage
  EXPECT_FALSE(isDone);
  EXPECT_FALSE(isReplaced());
  diskIsStuck = false;
  caller.join();
  EXPECT_TRUE(isReplaced());
  append();
  EXPECT_EQ(AfterSuddenDeath(file_)->objectForKey("queue"), Value(queue_));
}

TEST(StoreBackground, NeverBeginsTheLogAnewWhileWritesFollowEachOther) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  auto store = openStore(file);
  const std::string text(4000, 'x');
  int number = 0;
  const auto write = [&] {
    store->setObject(text + std::to_string(++number), "key");
    store->synchronize();
  };
  write();
  const std::string header = headerOfLog(file);
  while (logSize(file) < 32 + RowFile::logTarget * (RowFile::pageSize + 24)) write();
  waitsForTheDisk = 0;
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
  while (std::chrono::steady_clock::now() < end) {
    write();
    ASSERT_EQ(waitingThreads, 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  EXPECT_EQ(headerOfLog(file), header);
  EXPECT_EQ(waitsForTheDisk, 0);
}

TEST(StoreBackground, BeginsTheLogAnewAtItsLimitWithoutAPause) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  auto store = openStore(file);
  const std::string text(400000, 'x');
  std::string last;
  const auto write = [&](int number) {
    last = text + std::to_string(number);
    store->setObject(last, "key");
    store->synchronize();
  };
  write(0);
  const std::string header = headerOfLog(file);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(2);
  std::uintmax_t size = 0;
  for (int number = 1; headerOfLog(file) == header; ++number) {
    size = std::max(size, logSize(file));
    ASSERT_LT(std::chrono::steady_clock::now(), deadline);
    write(number);
  }
  EXPECT_GT(size, RowFile::logLimit * std::uintmax_t{RowFile::pageSize} - 2 * text.size());
  write(-1);
  store.reset();
  EXPECT_EQ(openStore(file)->objectForKey("key"), Value(last));
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

TEST(StoreBackground, GoesOnUntilTheWorkIsDone) {
  std::atomic<int> pieces = 0;
  Checkpointer checkpointer([&] { return ++pieces % 3 == 0; }, std::chrono::milliseconds(1));
  checkpointer.request();
  EXPECT_TRUE(comesTrue([&] { return pieces == 3; }));
}

}  // namespace
}  // namespace fliprugair
