#include <atomic>
#include <thread>

#include "platform/sqlite/Database.h"
#include "sqlite/StoreTest.h"

namespace fliprugair {
namespace {

TEST(SQLiteStore, LosesNoUpdateOfSeveralThreads) {
  constexpr int threads = 4;
  constexpr int updates = 200;
  const TemporaryFolder folder;
  auto store = openStore(folder / "store");
  std::vector<std::thread> writers;
  for (int writer = 0; writer < threads; ++writer) {
    writers.emplace_back([&, writer] {
      for (int number = 0; number < updates; ++number) {
        const StoreGroup group(*store);
        store->update("queue", [&](const Value& queue) { return Value(queue.array().appending(record(number))); });
        store->update("count", [](const Value& count) { return Value(count.integerValue() + 1); });
        store->setObject(number, "of " + std::to_string(writer));
        store->synchronize();
        EXPECT_EQ(store->integerForKey("of " + std::to_string(writer)), number);
      }
    });
  }
  for (std::thread& writer : writers) writer.join();
  store.reset();
  store = openStore(folder / "store");
  EXPECT_EQ(store->integerForKey("count"), threads * updates);
  EXPECT_EQ(store->arrayForKey("queue")->size(), static_cast<std::size_t>(threads * updates));
}

TEST(SQLiteStore, HasInItsFileWhatAThreadHasSynchronizedWhoeverWroteIt) {
  const TemporaryFolder folder;
  const auto store = openStoreWithoutJournal(folder / "store");
  std::vector<std::thread> writers;
  for (int writer = 0; writer < 4; ++writer) {
    writers.emplace_back([&, key = "of " + std::to_string(writer)] {
      const Database file((folder / "store").string(), Database::Mode::readWrite);
      const std::string select = "SELECT value FROM rows WHERE name = '" + key + "'";
      for (int number = 0; number < 300; ++number) {
        {
          const StoreGroup group(*store);
          store->setObject(number, key);
          store->update("count", [](const Value& count) { return Value(count.integerValue() + 1); });
          store->synchronize();
        }
        EXPECT_EQ(file.integer(select.c_str()), number);
        store->setObject(-number, key);
        store->synchronize();
        EXPECT_EQ(file.integer(select.c_str()), -number);
      }
    });
  }
  for (std::thread& writer : writers) writer.join();
}

TEST(SQLiteStore, IsReadAndWrittenWhileItsLogIsCopied) {
  const TemporaryFolder folder;
  auto store = openStore(folder / "store");
  std::atomic<bool> ends = false;
  std::thread reader([&] {
    std::int64_t last = 0;
    while (!ends) {
      const std::int64_t now = store->integerForKey("last");
      EXPECT_GE(now, last);
      last = now;
      store->objectForKey("sent").dictionary().entries();
    }
  });
  const std::string text(20000, 'x');
  for (int number = 1; number <= 400; ++number) {
    store->setObject(number, "last");
    store->update("sent", [&](const Value& sent) {
      const Dictionary without = sent.dictionary().removing(std::to_string(number - 20));
      return Value(without.setting(std::to_string(number), Array{number, text + std::to_string(number)}));
    });
    store->synchronize();
  }
  ends = true;
  reader.join();
  const Value sent = store->objectForKey("sent");
  EXPECT_EQ(sent.dictionary().size(), 20U);
  store.reset();
  EXPECT_EQ(openStore(folder / "store")->objectForKey("sent"), sent);
}

}  // namespace
}  // namespace fliprugair
