#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <thread>

#include "platform/linux/store/Checkpointer.h"
#include "platform/linux/store/RowFile.h"
#include "store/StoreTest.h"

namespace {

thread_local int waitsForTheDisk = 0;

}  // namespace

/// Stands in for the C library's, for SQLite too, and counts.
extern "C" int fdatasync(int descriptor) {
  ++waitsForTheDisk;
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

TEST(StoreBackground, SleepsUntilWorkIsRequested) {
  std::atomic<int> pieces = 0;
  {
    Checkpointer checkpointer([&] { return ++pieces >= 0; });
    checkpointer.request();
    EXPECT_TRUE(comesTrue([&] { return pieces > 0; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // in which one that does not sleep does much more
  }
  EXPECT_EQ(pieces, 1);
}

TEST(StoreBackground, GoesOnUntilTheWorkIsDone) {
  std::atomic<int> pieces = 0;
  Checkpointer checkpointer([&] { return ++pieces % 3 == 0; });
  checkpointer.request();
  EXPECT_TRUE(comesTrue([&] { return pieces == 3; }));
}

}  // namespace
}  // namespace fliprugair
