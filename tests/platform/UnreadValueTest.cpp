#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

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

/// The text of an array, which counts how often it is asked for.
class CountingSource : public UnreadValue::Source {
 public:
  explicit CountingSource(std::string text) : text_(std::move(text)) {}
  std::string text() const override {
    ++readings;
    if (refuses) throw std::runtime_error("refused");
    return text_;
  }
  std::size_t size() const override { return 7; }

  mutable int readings = 0;
  bool refuses = false;

 private:
  const std::string text_;
};

class AnUnreadArrayElsewhere : public testing::Test {
 protected:
  const std::shared_ptr<CountingSource> source_ = std::make_shared<CountingSource>("[1," + record + "]");
  const Value value_ = UnreadValue::of(source_, readJSON, 5);
};

TEST_F(AnUnreadArrayElsewhere, IsAnArrayOfItsSizeAndDepthWithoutItsText) {
  EXPECT_TRUE(UnreadValue::is(value_));
  EXPECT_EQ(value_.kind(), Value::Kind::array);
  EXPECT_FALSE(value_.isDictionary());
  EXPECT_EQ(value_.depth(), 5U);
  EXPECT_EQ(UnreadValue::sizeOfArray(value_), 7U);
  EXPECT_EQ(UnreadValue::sourceOf(value_), source_.get());
  EXPECT_EQ(Value(Array{value_, 1}).depth(), 6U);
  EXPECT_EQ(source_->readings, 0);
}

TEST_F(AnUnreadArrayElsewhere, IsNoDictionaryTextOrNumberAndSaysSoWithoutItsText) {
  EXPECT_TRUE(value_.dictionary().empty());
  EXPECT_EQ(value_.text(), "");
  EXPECT_EQ(value_.integerValue(), 0);
  EXPECT_FALSE(value_.boolValue());
  EXPECT_EQ(source_->readings, 0);
}

TEST_F(AnUnreadArrayElsewhere, IsReadEachTimeThatSomebodyLooksIntoIt) {
  EXPECT_EQ(value_.array()[1], readJSON(record));
  EXPECT_EQ(value_.array().size(), 2U);
  EXPECT_EQ(*UnreadValue::textOf(value_), "[1," + record + "]");
  EXPECT_EQ(RapidJSONSerialization().textOfAny(value_), "[1," + record + "]");
  EXPECT_EQ(source_->readings, 4);
}

TEST_F(AnUnreadArrayElsewhere, IsTheSameObjectAsItsCopiesWithoutItsText) {
  const Value& copy = Value(value_);
  EXPECT_TRUE(copy.isSameObject(value_));
  EXPECT_EQ(copy, value_);
  EXPECT_FALSE(value_.isSameObject(UnreadValue::of(source_, readJSON, 5)));
  EXPECT_NE(value_, Value(1));
  EXPECT_NE(value_, Value(Dictionary()));
  EXPECT_EQ(source_->readings, 0);
}

TEST_F(AnUnreadArrayElsewhere, IsEqualToWhatHasItsContent) {
  EXPECT_EQ(value_, Value(Array{1, readJSON(record)}));
  EXPECT_EQ(Value(Array{1, readJSON(record)}), value_);
  EXPECT_EQ(value_, unread("[1," + record + "]"));
  EXPECT_EQ(value_, UnreadValue::of(source_, readJSON, 5));
  EXPECT_NE(value_, Value(Array{1, 2}));
}

TEST_F(AnUnreadArrayElsewhere, ThrowsWhatItsTextCannotBeHadFor) {
  source_->refuses = true;
  EXPECT_THROW(value_.array(), std::runtime_error);
  EXPECT_THROW(UnreadValue::textOf(value_), std::runtime_error);
  EXPECT_THROW(RapidJSONSerialization().textOfAny(Value{{"inside", value_}}), std::runtime_error);
  EXPECT_THROW(static_cast<void>(value_ == Value(Array{1, 2})), std::runtime_error);
  source_->refuses = false;
  EXPECT_EQ(value_.array().size(), 2U);
}

TEST(AnUnreadValue, HasItsSourceOnlyWhenItsTextIsElsewhere) {
  EXPECT_EQ(UnreadValue::sourceOf(unread("[1]")), nullptr);
  EXPECT_EQ(UnreadValue::sourceOf(Array{1}), nullptr);
  EXPECT_TRUE(UnreadValue::is(unread("[1]")));
  EXPECT_FALSE(UnreadValue::is(Array{1}));
  EXPECT_EQ(UnreadValue::sizeOfArray(unread("[1,2]")), 2U);
  EXPECT_EQ(UnreadValue::sizeOfArray(Array{1, 2, 3}), 3U);
  EXPECT_EQ(UnreadValue::sizeOfArray(unread(record)), 0U);
}

}  // namespace
}  // namespace fliprugair
