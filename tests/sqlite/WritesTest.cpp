#include <functional>
#include <random>

#include "sqlite/StoreTest.h"

namespace fliprugair {
namespace {

/// By how much the log and the journal grow through what `write` does and synchronizes.
std::uintmax_t bytesWritten(SQLiteUserDefaults& store, const std::filesystem::path& file,
                            const std::function<void()>& write) {
  const auto size = [&] {
    std::uintmax_t bytes = logSize(file);
    for (const char* suffix : Journal::suffixes) bytes += std::filesystem::file_size(file.string() + suffix);
    return bytes;
  };
  const std::uintmax_t before = size();
  write();
  store.synchronize();
  return size() - before;
}

Array records(int count) {
  std::vector<Value> items;
  for (int number = 0; number < count; ++number) items.push_back(record(number));
  return Array(std::move(items));
}

Dictionary requests(int count) {
  std::vector<std::pair<std::string, Value>> pairs;
  for (int number = 0; number < count; ++number) pairs.emplace_back(std::to_string(number) + ".000000", record(number));
  return Dictionary(std::move(pairs));
}

/// What 30 changes write to a store that holds `waiting` in its log's beginning.
std::uintmax_t bytesOfChanges(const Value& waiting, const std::function<Value(const Value&, int)>& change) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  openStore(file)->setObject(waiting, "queue");
  const auto store = openStore(file);
  return bytesWritten(*store, file, [&] {
    for (int number = 0; number < 30; ++number) {
      store->update("queue", [&](const Value& queue) { return change(queue, number); });
      store->synchronize();
    }
  });
}

TEST(BytesWritten, ByAppendingToAnArrayDoNotDependOnItsLength) {
  const auto append = [](const Value& queue, int number) { return Value(queue.array().appending(record(number))); };
  const auto few = bytesOfChanges(Array(), append);
  const auto many = bytesOfChanges(records(10000), append);
  EXPECT_GT(few, 30U * 500);
  EXPECT_LE(static_cast<double>(many), 1.5 * static_cast<double>(few));
}

TEST(BytesWritten, ByAddingToADictionaryDoNotDependOnItsSize) {
  const auto add = [](const Value& queue, int number) {
    return Value(queue.dictionary().setting("new " + std::to_string(number), record(number)));
  };
  const auto few = bytesOfChanges(Dictionary(), add);
  const auto many = bytesOfChanges(requests(10000), add);
  EXPECT_GT(few, 30U * 500);
  EXPECT_LE(static_cast<double>(many), 1.5 * static_cast<double>(few));
}

TEST(BytesWritten, ByRemovingFromADictionaryDoNotDependOnItsSize) {
  const auto remove = [](const Value& queue, int number) {
    return Value(queue.dictionary().removing(std::to_string(number) + ".000000"));
  };
  const auto few = bytesOfChanges(requests(40), remove);
  const auto many = bytesOfChanges(requests(10000), remove);
  EXPECT_GT(few, 0U);
  EXPECT_LE(static_cast<double>(many), 1.5 * static_cast<double>(few));
}

TEST(BytesWritten, ByWhatDidNotChangeAreNone) {
  const TemporaryFolder folder;
  const auto store = openStore(folder / "store");
  const auto write = [&] {
    store->setObject(1, "integer");
    store->setObject("text", "text");
    store->setObject(records(50), "array");
    store->setObject(requests(50), "dictionary");
    store->setObject(Value{{"batch", records(3)}}, "batches");
    store->removeObject("absent");
  };
  EXPECT_GT(bytesWritten(*store, folder / "store", write), 0U);
  EXPECT_EQ(bytesWritten(*store, folder / "store", write), 0U);
}

TEST(BytesWritten, ByMovingAnArrayAreThoseOfOneRow) {
  const TemporaryFolder folder;
  const auto file = folder / "store";
  const auto store = openStore(file);
  Array queue;
  for (int number = 0; number < 24; ++number) queue = queue.appending(std::string(4000, 'x'));
  store->setObject(queue, "queue");
  store->setObject(Value{{"earlier", Array{1}}}, "sent");
  store->synchronize();
  const auto bytes = bytesWritten(*store, file, [&] {
    const StoreGroup group(*store);
    queue = queue.appending("the last");
    store->setObject(queue, "queue");
    store->setObject(store->objectForKey("sent").dictionary().setting("now", queue), "sent");
    store->synchronize();
    store->removeObject("queue");
  });
  EXPECT_LT(bytes, 12000U);
  AfterSuddenDeath after(file);
  EXPECT_EQ(after->objectForKey("sent"), store->objectForKey("sent"));
  EXPECT_EQ(after->objectForKey("sent").dictionary()["now"].array().size(), 25U);
  EXPECT_TRUE(after->objectForKey("queue").isNull());
}

/// Makes one of the changes that the tracker, or a host app with ideas of its own, makes to its keys.
void changeSomething(SQLiteUserDefaults& store, std::minstd_rand& random) {
  const std::vector<std::string> keys = {"a", "b", "c"};
  const auto anyKey = [&] { return keys[random() % keys.size()]; };
  const std::string key = anyKey();
  const std::string name = std::to_string(random() % 40);
  const Value value = store.objectForKey(key);
  const Value other = store.objectForKey(anyKey());
  constexpr unsigned change = 13;
  const std::vector<unsigned> ofArrays = {3, 8, 8, 10, 10, 10, 10};
  const std::vector<unsigned> ofDictionaries = {3, 4, 5, 5, 6, 6, 7, 9, 9};
  const std::vector<unsigned>& ofTheKind = value.isArray() ? ofArrays : ofDictionaries;
  const bool keepsTheKind = random() % 10 != 0;
  switch (keepsTheKind ? ofTheKind[random() % ofTheKind.size()] : random() % change) {
    case 0:
      return store.setObject(static_cast<int>(random() % 3), key);
    case 1:
      return store.removeObject(key);
    case 2:
      return store.setObject(Dictionary(), key);
    case 3:
      return store.setObject(other, key);
    case 4: {  // an equal dictionary, built anew and in another order
      std::vector<std::pair<std::string, Value>> pairs;
      for (const auto& entry : value.dictionary().entries()) pairs.emplace_back(entry.key(), entry.value);
      if (!pairs.empty()) std::swap(pairs.front(), pairs.back());
      return store.setObject(Dictionary(std::move(pairs)), key);
    }
    case 5:
      return store.setObject(value.dictionary().removing(name), key);
    case 6:
      return store.setObject(value.dictionary().setting(name, static_cast<int>(random() % 3)), key);
    case 7:  // a batch is sent
      store.setObject(value.dictionary().setting(name, other), key);
      return store.removeObject(anyKey());
    case 8: {
      std::vector<Value> rest;
      if (random() % 2 == 0) rest.push_back(static_cast<int>(random() % 100));
      const std::size_t gap = random() % 5;
      for (std::size_t index = random() % 3; index < value.array().size(); ++index) {
        if (index != gap) rest.push_back(value.array()[index]);
      }
      return store.setObject(Array(std::move(rest)), key);
    }
    case 9: {  // an entry's array grows
      const Array inner = value.dictionary()[name].array().appending(static_cast<int>(random() % 100));
      return store.setObject(value.dictionary().setting(name, inner), key);
    }
    default:
      return store.setObject(value.array().appending(static_cast<int>(random() % 100)), key);
  }
}

TEST(SQLiteStore, HoldsInTheFileWhatItHoldsInMemoryAfterAnyChanges) {
  const TemporaryFolder folder;
  std::minstd_rand random(7);
  auto store = openStore(folder / "store");
  for (int round = 0; round < 600; ++round) {
    for (unsigned count = random() % 4; count > 0; --count) changeSomething(*store, random);
    store->synchronize();
    if (round % 20 == 0) store.reset();
    if (!store) store = openStore(folder / "store");
    AfterSuddenDeath after(folder / "store");
    for (const char* key : {"a", "b", "c"}) ASSERT_EQ(after->objectForKey(key), store->objectForKey(key)) << round;
  }
}

}  // namespace
}  // namespace fliprugair
