#include <unistd.h>

#include <future>
#include <optional>
#include <thread>

#include "sqlite/FaultyMedium.h"
#include "sqlite/FullDisk.h"
#include "sqlite/StoreFiles.h"
#include "support/ThreadSleeps.h"

namespace fliprugair {
namespace {

TEST(AFullDisk, CostsNothingThatWasWrittenMeanwhile) {
  const TemporaryFolder folder;
  StoreLog log;
  const auto store = openStore(folder / "store", log.sink());
  const auto append = [&](int first, int count) {
    for (int number = first; number < first + count; ++number) {
      store->update("queue", [&](const Value& queue) { return Value(queue.array().appending(record(number))); });
      store->setObject(number, "last");
      store->synchronize();
    }
  };
  append(0, 10);
  std::optional<AfterSuddenDeath> during;
  {
    const FullDisk full(logSize(folder / "store") + 10000);
    append(10, 50);
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_NE(log.lines().front().find("cannot be written"), std::string::npos) << log.lines().front();
    EXPECT_EQ(store->arrayForKey("queue")->size(), 60U);
    during.emplace(folder / "store");
  }
  EXPECT_LT((*during)->integerForKey("last"), 59);
  EXPECT_EQ((*during)->arrayForKey("queue")->size(), static_cast<std::size_t>((*during)->integerForKey("last")) + 1);
  append(60, 1);
  EXPECT_EQ(log.lines().size(), 2U);
  AfterSuddenDeath after(folder / "store");
  EXPECT_EQ(after->objectForKey("queue"), store->objectForKey("queue"));
  EXPECT_EQ(after->arrayForKey("queue")->size(), 61U);
}

TEST(AFullDisk, IsTriedAgainByAThreadThatHasWaitedForAnothersGroup) {
  const TemporaryFolder folder;
  StoreLog log;
  std::unique_ptr<SQLiteUserDefaults> store;
  {
    const FaultyMedium medium(FaultyMedium::Operation::fill, 1000000);
    store = openStoreWithoutJournal(folder / "store", log.sink());
  }
  std::promise<void> hasWritten;
  std::promise<void> mayEnd;
  std::thread other([&] {
    const StoreGroup group(*store);
    store->setObject(1, "theirs");
    store->synchronize();
    hasWritten.set_value();
    mayEnd.get_future().wait();
  });
  hasWritten.get_future().wait();
  std::promise<pid_t> number;
  std::thread waiting([&] {
    store->setObject(2, "mine");
    number.set_value(gettid());
    store->synchronize();
  });
  const pid_t thread = number.get_future().get();
  while (!isAsleep(thread)) std::this_thread::yield();
  {
    const FaultyMedium full(FaultyMedium::Operation::fill, 0);
    mayEnd.set_value();
    other.join();
    waiting.join();
  }
  EXPECT_EQ(log.lines().size(), 2U) << "it could not be written, and is being written again";
  AfterSuddenDeath after(folder / "store");
  EXPECT_EQ(after->integerForKey("theirs"), 1);
  EXPECT_EQ(after->integerForKey("mine"), 2);
}

TEST(AFullDisk, WhileAStoreIsBegunIsNotTakenForDamage) {
  for (const rlim_t room : {100, 600, 2047, 2048, 3000, 5000, 7000}) {
    const TemporaryFolder folder;
    StoreLog log;
    std::unique_ptr<SQLiteUserDefaults> store;
    {
      const FullDisk full(room);
      store = openStore(folder / "store", log.sink());
      for (int number = 0; number < 3; ++number) {
        store->setObject(number, "key");
        store->synchronize();
      }
    }
    EXPECT_EQ(log.lines().size(), 1U) << room;
    store->synchronize();
    EXPECT_EQ(log.lines().size(), 2U) << room;
    EXPECT_TRUE(filesSetAside(folder).empty()) << room;
    EXPECT_EQ(AfterSuddenDeath(folder / "store")->objectForKey("key"), Value(2)) << room;
  }
}

TEST(AFullDisk, DoesNotKeepTheStoreFromBeingRead) {
  const TemporaryFolder folder;
  fill(folder / "store");
  StoreLog log;
  const FullDisk full(1);
  const auto store = openStore(folder / "store", log.sink());
  EXPECT_EQ(store->objectForKey("key"), Value("identity"));
  EXPECT_EQ(store->arrayForKey("queue")->size(), 100U);
  store->setObject(1, "new");
  store->synchronize();
  EXPECT_EQ(log.lines().size(), 1U);
}

}  // namespace
}  // namespace fliprugair
