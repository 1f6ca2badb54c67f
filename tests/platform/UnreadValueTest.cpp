#include <gtest/gtest.h>

#include <stdexcept>

#include "platform/UnreadValue.h"
#include "platform/json/RapidJSONSerialization.h"

namespace fliprugair {
namespace {

Value readJSON(std::string_view text) { return RapidJSONSerialization().value(text).value_or(Value()); }

Value unread(std::string_view text) { return UnreadValue::of(text, readJSON).value_or(Value("none")); }

const std::string record = R"({"action":"event","data":{"level":[1,2.5,"{\"]"]}})";

TEST(AnUnreadValue, IsOfTheKindOfWhatItStandsFor) {
  EXPECT_TRUE(unread(record).isDictionary());
  EXPECT_FALSE(unread(record).isArray());
  EXPECT_TRUE(unread("[1]").isArray());
  EXPECT_EQ(unread("[1]").kind(), Value::Kind::array);
  EXPECT_FALSE(unread("[1]").isNull());
  EXPECT_FALSE(unread("[1]").isNumber());
}

TEST(AnUnreadValue, GivesWhatStandsInItsText) {
  const Dictionary data = unread(record).dictionary()["data"].dictionary();
  EXPECT_EQ(data["level"], Value(Array{1, 2.5, "{\"]"}));
  EXPECT_TRUE(unread(record).array().empty());
  EXPECT_EQ(unread("[1,[2]]").array()[1], Value(Array(std::vector<Value>{2})));
  EXPECT_TRUE(unread("[1]").dictionary().empty());
}

TEST(AnUnreadValue, EqualsTheSameValueHoweverItWasMade) {
  EXPECT_EQ(unread(record), unread(record));
  EXPECT_EQ(unread(record), readJSON(record));
  EXPECT_EQ(readJSON(record), unread(record));
  EXPECT_EQ(unread(R"({"a":1})"), unread(R"({ "a" : 1 })"));
  EXPECT_EQ(Value(Array{unread(record), 1}), Value(Array{readJSON(record), 1}));
  EXPECT_FALSE(unread(record) == unread("[1]"));
  EXPECT_FALSE(unread(R"({"a":1})") == unread(R"({"a":2})"));
  EXPECT_FALSE(unread("[1]") == Value());
}

TEST(AnUnreadValue, IsTheSameObjectAsItsCopiesAlone) {
  const Value value = unread(record);
  const Value& copy = Value(value);
  EXPECT_TRUE(value.isSameObject(copy));
  EXPECT_FALSE(value.isSameObject(unread(record)));
  EXPECT_FALSE(value.isSameObject(readJSON(record)));
  EXPECT_FALSE(readJSON(record).isSameObject(value));
}

TEST(AnUnreadValue, CountsItsLevelsWithoutThoseInItsTexts) {
  EXPECT_EQ(unread(record).depth(), 3U);
  EXPECT_EQ(unread(record).depth(), readJSON(record).depth());
  EXPECT_EQ(unread(R"(["[[[","\"[",{}])").depth(), 2U);
  EXPECT_EQ(unread(R"(["\\","[",{}])").depth(), 2U);
  EXPECT_EQ(unread(R"(["\\\"[","{}"])").depth(), 1U);
  EXPECT_EQ(Value(Array{unread(record), 1}).depth(), 4U);
}

TEST(AnUnreadValue, IsNotMadeOfWhatIsEmptyTooDeepOrNoContainer) {
  for (const std::string text : {"", "1", "\"{}\"", "null", "{}", "[]"}) {
    EXPECT_FALSE(UnreadValue::of(text, readJSON)) << text;
  }
  const auto nested = [](std::size_t levels) { return std::string(levels, '[') + std::string(levels, ']'); };
  EXPECT_TRUE(UnreadValue::of(nested(Value::deepest), readJSON));
  EXPECT_FALSE(UnreadValue::of(nested(Value::deepest + 1), readJSON));
}

TEST(AnUnreadValue, TravelsAsItsTextAndIsLaidOutForAReaderLikeAnyOther) {
  const RapidJSONSerialization json;
  const Value batch = Array{unread(record), unread("[1]"), 2};
  EXPECT_EQ(json.text(batch), "[" + record + ",[1],2]");
  EXPECT_EQ(json.textOfAny(batch), "[" + record + ",[1],2]");
  EXPECT_EQ(json.textOfAny(Value{{"first", unread("[1]")}, {"then", true}}), R"({"first":[1],"then":true})");
  EXPECT_EQ(json.text(batch, JSONSerialization::Layout::pretty),
            json.text(Array{readJSON(record), readJSON("[1]"), 2}, JSONSerialization::Layout::pretty));
}

TEST(AnUnreadValue, IsNotWrittenAnewWhereItsTextWillDo) {
  const RapidJSONSerialization json;
  EXPECT_EQ(json.text(Array{unread("[1.50]"), unread(R"({"a":1.50})")}), R"([[1.50],{"a":1.50}])");
}

TEST(AnUnreadValue, ThatCannotBeReadIsEmpty) {
  const Value value = *UnreadValue::of("{not json}", readJSON);
  EXPECT_TRUE(value.isDictionary());
  EXPECT_TRUE(value.dictionary().empty());
}

/// Has a text for nobody.
class Lost final : public UnreadValue::Source {
 public:
  std::string text() const override { throw std::runtime_error("lost"); }
  std::size_t size() const override { return 1; }
};

TEST(AnUnreadValue, EqualsItselfWithoutBeingRead) {
  const Value value = UnreadValue::of(std::make_shared<const Lost>(), readJSON, 1);
  EXPECT_TRUE(value == Value(value));
  EXPECT_THROW(static_cast<void>(value == Value(Array{1})), std::runtime_error);
}

TEST(AnUnreadValue, OfADictionaryWhoseDepthIsKnownIsAsAnyOther) {
  const Value value = UnreadValue::ofDictionary(record, 3, readJSON);
  EXPECT_TRUE(value.isDictionary());
  EXPECT_EQ(value.depth(), 3U);
  EXPECT_EQ(value, unread(record));
  EXPECT_EQ(*UnreadValue::textOf(value), record);
}

TEST(AnUnreadValue, KeepsItsTextForWhoeverSendsIt) {
  const Value value = unread(record);
  ASSERT_NE(UnreadValue::textOf(value), nullptr);
  EXPECT_EQ(*UnreadValue::textOf(value), record);
  EXPECT_EQ(UnreadValue::textOf(readJSON(record)), nullptr);
  EXPECT_EQ(UnreadValue::textOf(Value()), nullptr);
}

}  // namespace
}  // namespace fliprugair
