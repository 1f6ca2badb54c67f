// The store in memory of a virtual device.

#include <gtest/gtest.h>

#include "platform/json/RapidJSONSerialization.h"
#include "platform/virtual/VirtualStore.h"

namespace fliprugair {
namespace {

const Value everything{{"text", "\u00fc\n\""},
                       {"integer", INT64_MIN},
                       {"unsigned", UINT64_MAX},
                       {"real", 0.1},
                       {"whole real", 2.0},
                       {"boolean", true},
                       {"null in it", Value{{"key", nullptr}}},
                       {"list", Array{1, "2", Array{}}},
                       {"empty", Dictionary()}};

TEST(VirtualStore, AnswersAfterPackingAsBefore) {
  const RapidJSONSerialization json;
  VirtualStore store;
  store.setObject(everything, "b");
  store.setObject(1, "a");
  const Dictionary before = store.all();
  store.pack(json);
  EXPECT_EQ(store.all(), before);
  EXPECT_EQ(store.objectForKey("b"), everything);
  EXPECT_EQ(store.all(), before);
}

std::string keysOf(const VirtualStore& store) {
  std::string keys;
  for (const auto& entry : store.all().entries()) keys += entry.key();
  return keys;
}

TEST(VirtualStore, HasItsKeysInTheOrderInWhichTheyWereFirstWritten) {
  const RapidJSONSerialization json;
  VirtualStore store;
  for (const char* key : {"c", "a", "b", "a"}) store.setObject(1, key);
  EXPECT_EQ(keysOf(store), "cab");
  store.removeObject("c");
  store.setObject(1, "c");
  EXPECT_EQ(keysOf(store), "abc");
  store.pack(json);
  store.setObject(1, "0");
  EXPECT_EQ(keysOf(store), "abc0");
}

TEST(VirtualStore, TakesWritesWhilePacked) {
  const RapidJSONSerialization json;
  VirtualStore store;
  store.setObject(1, "a");
  store.pack(json);
  store.setObject(2, "b");
  store.pack(json);
  store.removeObject("a");
  EXPECT_EQ(Value(store.all()), (Value{{"b", 2}}));
}

TEST(VirtualStore, CanBePackedWhileEmpty) {
  const RapidJSONSerialization json;
  VirtualStore store;
  store.pack(json);
  EXPECT_TRUE(store.all().empty());
  EXPECT_TRUE(store.objectForKey("a").isNull());
}

TEST(VirtualStore, TellsItsObserverOfEachWriteWhenReadersSeeIt) {
  std::string seen;
  VirtualStore* observed = nullptr;
  const VirtualStore::Observer observer = [&](std::string_view key, const Value& before, const Value& after) {
    EXPECT_EQ(observed->objectForKey(key), after);
    seen += std::string(key) + ':' + before.text() + '>' + after.text() + ' ';
  };
  VirtualStore store(observer);
  observed = &store;
  store.setObject("1", "a");
  store.update("a", [](const Value& stored) { return Value(stored.text() + "2"); });
  store.removeObject("a");
  store.removeObject("a");
  EXPECT_EQ(seen, "a:>1 a:1>12 a:12> a:> ");
  EXPECT_TRUE(store.all().empty());
}

TEST(VirtualStore, KeepsWhatItHeldWhenAChangeThrows) {
  VirtualStore store;
  store.setObject(1, "a");
  EXPECT_THROW(store.update("a", [](const Value&) -> Value { throw 1; }), int);
  EXPECT_EQ(store.objectForKey("a"), Value(1));
  store.setObject(2, "a");
  EXPECT_EQ(store.objectForKey("a"), Value(2));
}

}  // namespace
}  // namespace fliprugair
