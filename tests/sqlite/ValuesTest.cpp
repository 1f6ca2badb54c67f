#include <sqlite3.h>

#include <cmath>
#include <limits>
#include <utility>

#include "platform/UnreadValue.h"
#include "platform/json/RapidJSONSerialization.h"
#include "sqlite/StoreTest.h"

namespace fliprugair {
namespace {

std::string textOf(const std::filesystem::path& file, const char* sql) {
  sqlite3* database = nullptr;
  sqlite3_stmt* statement = nullptr;
  std::string text;
  EXPECT_EQ(sqlite3_open(file.c_str(), &database), SQLITE_OK);
  EXPECT_EQ(sqlite3_prepare_v2(database, sql, -1, &statement, nullptr), SQLITE_OK);
  if (sqlite3_step(statement) == SQLITE_ROW) {
    text.assign(static_cast<const char*>(sqlite3_column_blob(statement, 0)),
                static_cast<std::size_t>(sqlite3_column_bytes(statement, 0)));
  }
  sqlite3_finalize(statement);
  sqlite3_close(database);
  return text;
}

struct NamedValue {
  const char* name;
  Value value;

  friend void PrintTo(const NamedValue& named, std::ostream* out) { *out << named.name; }
};

Value nested(std::size_t levels) {
  Value value = 1;
  for (std::size_t level = 0; level < levels; ++level) value = Array{value};
  return value;
}

std::vector<NamedValue> values() {
  using namespace std::string_literals;
  const Value nothing;
  return {
      {"integer", 1},
      {"real", 1.0},
      {"yes", true},
      {"no", false},
      {"zero", 0},
      {"negativeZero", -0.0},
      {"smallestInteger", std::numeric_limits<std::int64_t>::min()},
      {"largestInteger", std::numeric_limits<std::int64_t>::max()},
      {"smallestReal", std::numeric_limits<double>::denorm_min()},
      {"largestReal", std::numeric_limits<double>::max()},
      {"inexactReal", 0.1},
      {"largeWholeReal", 1e17},
      {"emptyText", ""},
      {"text", "Grüße, \"\\ \u2028 \U0001F600"},
      {"textWithControls", "a\0b\n\t\x01\x7F"s},
      {"textThatLooksLikeJSON", "{\"a\":[1]}"},
      {"emptyArray", Array()},
      {"emptyDictionary", Dictionary()},
      {"array", Array{1, 1.0, true, "1", nothing, Array(), Dictionary()}},
      {"arrayOfArrays", Array{Array{1, Array{2}}, Array{Array()}}},
      {"arrayOfNothing", Array{nothing, nothing}},
      {"dictionary", Value{{"z", 1}, {"a", 2.0}, {"m", nothing}, {"", "no key"}, {"e", Array()}, {"d", Dictionary()}}},
      {"dictionaryOfArrays", Value{{"b", Array{1, nothing}}, {"a", Array{Array{}, Value{{"x", Array{nothing}}}}}}},
      {"dictionaryOfDictionaries", Value{{"b", Value{{"y", nothing}, {"x", Value{{"", 1.0}}}}}, {"a", Dictionary()}}},
      {"keysWithControls", Value{{std::string_view("a\0b", 3), 1}, {std::string_view("a\0c", 3), 2}}},
      {"deep", nested(Value::deepest)},
  };
}

class EveryValue : public testing::TestWithParam<NamedValue> {};

TEST_P(EveryValue, IsTheSameAfterReopening) {
  const TemporaryFolder folder;
  openStore(folder / "store")->setObject(GetParam().value, "key");
  const auto store = openStore(folder / "store");
  EXPECT_EQ(store->objectForKey("key"), GetParam().value);
  EXPECT_EQ(store->objectForKey("key").kind(), GetParam().value.kind());
}

TEST_P(EveryValue, CanReplaceEveryOther) {
  const TemporaryFolder folder;
  const auto store = openStore(folder / "store");
  for (const NamedValue& other : values()) store->setObject(other.value, other.name);
  store->synchronize();
  for (const NamedValue& other : values()) store->setObject(GetParam().value, other.name);
  store->synchronize();
  AfterSuddenDeath after(folder / "store");
  for (const NamedValue& other : values()) EXPECT_EQ(after->objectForKey(other.name), GetParam().value) << other.name;
}

INSTANTIATE_TEST_SUITE_P(Values, EveryValue, testing::ValuesIn(values()),
                         [](const auto& parameter) { return parameter.param.name; });

TEST(SQLiteStore, KeepsTheSignOfZero) {
  const TemporaryFolder folder;
  openStore(folder / "store")->setObject(-0.0, "key");
  EXPECT_TRUE(std::signbit(openStore(folder / "store")->objectForKey("key").realValue()));
}

TEST(SQLiteStore, KeepsANumberThatJSONLacksInMemoryAndNullInTheFile) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  const TemporaryFolder folder;
  {
    const auto store = openStore(folder / "store");
    store->setObject(infinity, "alone");
    store->setObject(Array{Value{{"speed", infinity}, {"name", "x"}}, std::nan("")}, "inside");
    store->setObject(1, "beside");
    store->synchronize();
    EXPECT_EQ(store->objectForKey("alone"), Value(infinity));
  }
  const auto store = openStore(folder / "store");
  EXPECT_TRUE(store->objectForKey("alone").isNull());
  EXPECT_EQ(store->objectForKey("inside"), Value(Array{Value{{"speed", nullptr}, {"name", "x"}}, nullptr}));
  EXPECT_EQ(store->objectForKey("beside"), Value(1));
  store->setObject(2, "alone");
  store->synchronize();
  EXPECT_EQ(AfterSuddenDeath(folder / "store")->objectForKey("alone"), Value(2));
}

TEST(SQLiteStore, TellsAnAbsentKeyFromAnEmptyOne) {
  const TemporaryFolder folder;
  const auto store = openStore(folder / "store");
  store->setObject("", "empty");
  EXPECT_FALSE(store->objectForKey("empty").isNull());
  EXPECT_TRUE(store->objectForKey("absent").isNull());
  EXPECT_FALSE(store->arrayForKey("empty").has_value());
}

TEST(SQLiteStore, ARemovedKeyStaysAbsentAfterReopening) {
  const TemporaryFolder folder;
  {
    const auto store = openStore(folder / "store");
    store->setObject(Array{1, 2}, "key");
    store->synchronize();
    store->removeObject("key");
    EXPECT_TRUE(store->objectForKey("key").isNull());
  }
  EXPECT_TRUE(openStore(folder / "store")->objectForKey("key").isNull());
}

TEST(SQLiteStore, KeepsTheOrderOfADictionaryThatWasAddedToAfterReopening) {
  const TemporaryFolder folder;
  Dictionary expected;
  for (int round = 0; round < 5; ++round) {
    const auto store = openStore(folder / "store");
    Dictionary dictionary = store->objectForKey("key").dictionary();
    EXPECT_EQ(dictionary, expected);
    const std::string suffix = std::to_string(round);
    if (round > 1) dictionary = dictionary.removing("b" + std::to_string(round - 2));
    dictionary = dictionary.setting("b" + suffix, Array{round}).setting("a" + suffix, round).setting("a0", round);
    store->setObject(dictionary, "key");
    expected = dictionary;
  }
  EXPECT_EQ(expected.size(), 7U);
}

TEST(SQLiteStore, KeepsTheOrderOfMovedArraysAndOfWhatFollowsThem) {
  const TemporaryFolder folder;
  Dictionary sent = Value{{"first", 1}}.dictionary();
  {
    const auto store = openStore(folder / "store");
    store->setObject(sent, "sent");
    for (const char* key : {"a", "b", "c"}) store->setObject(Array{key}, key);
    store->synchronize();
    for (const char* key : {"c", "a", "b"}) {
      sent = sent.setting(key, store->objectForKey(key));
      store->removeObject(key);
    }
    store->setObject(sent, "sent");
  }
  const auto store = openStore(folder / "store");
  EXPECT_EQ(store->objectForKey("sent"), Value(sent));
  sent = store->objectForKey("sent").dictionary().setting("last", 2);
  store->setObject(sent, "sent");
  store->synchronize();
  EXPECT_EQ(AfterSuddenDeath(folder / "store")->objectForKey("sent"), Value(sent));
}

TEST(SQLiteStore, LetsAnArrayMoveToWhereSomethingElseWas) {
  const TemporaryFolder folder;
  const auto store = openStore(folder / "store");
  store->setObject(Array{1, 2}, "source");
  store->setObject("text", "key");
  store->setObject(Value{{"entry", "text"}}, "dictionary");
  store->synchronize();
  for (const char* target : {"key", "dictionary"}) {
    const Value array = store->objectForKey("source");
    store->setObject(target == std::string("key") ? array : Value{{"entry", array}}, target);
    store->setObject(Array{3, 4}, "source");
    store->synchronize();
  }
  AfterSuddenDeath after(folder / "store");
  EXPECT_EQ(after->objectForKey("key"), Value(Array{1, 2}));
  EXPECT_EQ(after->objectForKey("dictionary").dictionary()["entry"], Value(Array{3, 4}));
  EXPECT_EQ(after->objectForKey("source"), Value(Array{3, 4}));
}

TEST(SQLiteStore, PutsJSONTextIntoTheRows) {
  const TemporaryFolder folder;
  openStore(folder / "store")->setObject(Value{{"name", "x"}, {"inner", Value{{"list", Array{1, 2.5}}}}}, "key");
  EXPECT_EQ(textOf(folder / "store", "SELECT value FROM rows WHERE name = 'key'"), "{}");
  EXPECT_EQ(textOf(folder / "store", "SELECT value FROM rows WHERE name = 'name'"), R"("x")");
  EXPECT_EQ(textOf(folder / "store", "SELECT value FROM rows WHERE name = 'inner'"), R"({"list":[1,2.5]})");
}

TEST(RecordsThatWait, StayTextUntilTheirTurnHasCome) {
  const TemporaryFolder folder(memory());
  const Value batch = Array{record(1), record(2)};
  {
    const auto store = openStore(folder / "store");
    store->setObject(Value{{"1.000000", batch}, {"2.000000", record(3)}}, "queue");
    store->synchronize();
  }
  const auto store = openStore(folder / "store");
  const Dictionary queue = store->objectForKey("queue").dictionary();
  EXPECT_TRUE(UnreadValue::is(queue["1.000000"]));
  EXPECT_TRUE(UnreadValue::is(queue["2.000000"]));
  EXPECT_EQ(RapidJSONSerialization().textOfAny(queue["1.000000"]), RapidJSONSerialization().textOfAny(batch));
  EXPECT_EQ(Value(queue), Value({{"1.000000", batch}, {"2.000000", record(3)}}));
}

}  // namespace
}  // namespace fliprugair
