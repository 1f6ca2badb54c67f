#include <cmath>

#include "platform/PairList.h"
#include "platform/PairText.h"
#include "platform/UnreadValue.h"
#include "platform/json/RapidJSONSerialization.h"

namespace fliprugair {
namespace {

class APairText : public testing::Test {
 public:
  std::string textIn(PairText& pairs) const { return json_.textOfAny(pairs.value()); }
  static Value listsInLists(std::size_t levels) {
    Value value = Array();
    for (std::size_t level = 1; level < levels; ++level) value = Array{value};
    return value;
  }

 protected:
  const RapidJSONSerialization json_{};
};

TEST_F(APairText, EndsAtTheFirstAbsentValue) {
  PairText pairs(json_);
  EXPECT_FALSE(pairs.hasEnded());
  PairText inner(json_);
  pairs.add("a", 1).add("b", nullptr);
  EXPECT_TRUE(pairs.hasEnded());
  pairs.add("c", 3).addLiteral("d", "text").add("e", inner);
  EXPECT_EQ(pairs.value(), Value({{"a", 1}}));
}

TEST_F(APairText, OfNothingIsAnEmptyDictionary) {
  EXPECT_EQ(PairText(json_).value(), Value(Dictionary()));
  EXPECT_EQ(PairText(json_).add("a", nullptr).add("b", 2).value(), Value(Dictionary()));
  PairText outer(json_);
  PairText inner(json_);
  EXPECT_EQ(textIn(outer.add("inner", inner)), R"({"inner":{}})");
}

TEST_F(APairText, CanBeContinuedBehindItsEnd) {
  PairText pairs(json_);
  pairs.add("a", nullptr).set("b", 2).set("c", nullptr);
  EXPECT_EQ(textIn(pairs), R"({"b":2,"c":null})");
}

TEST_F(APairText, IsTheTextAndTheValueThatAListOfTheSamePairsIs) {
  const std::vector<Value> values{true,
                                  false,
                                  0,
                                  -7,
                                  INT64_MIN,
                                  UINT64_MAX,
                                  1.0,
                                  -0.0,
                                  0.1,
                                  1e300,
                                  5e-324,
                                  "",
                                  "plain",
                                  "\"\\/\b\f\n\r\t\x01\x1F\x7F",
                                  "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80",
                                  "not UTF-8 \xFF",
                                  std::string("a\0b", 3),
                                  std::string(5000, 'x'),
                                  Array(),
                                  Array{1, "\n", Dictionary()},
                                  Dictionary(),
                                  Value{{"\"", Array{1.5}}}};
  for (const Value& value : values) {
    PairText pairs(json_);
    PairList list;
    pairs.add("first", value).add("text", "a\"b").set("last", value);
    list.add("first", value).add("text", "a\"b").set("last", value);
    const Value expected = list.dictionary();
    const Value made = pairs.value();
    EXPECT_EQ(made, expected) << json_.textOfAny(value);
    EXPECT_EQ(json_.text(made), json_.text(expected));
    EXPECT_EQ(made.depth(), expected.depth()) << json_.textOfAny(value);
    EXPECT_EQ(made.kind(), Value::Kind::dictionary);
  }
}

TEST_F(APairText, HoldsAnotherOne) {
  PairText inner(json_);
  inner.add("a", Array{1}).addLiteral("b", "2");
  PairText outer(json_);
  outer.add("before", 0).add("inner", inner).add("behind", 1);
  const Value value = outer.value();
  EXPECT_EQ(json_.text(value), R"({"before":0,"inner":{"a":[1],"b":"2"},"behind":1})");
  EXPECT_EQ(value.depth(), 3U);
}

TEST_F(APairText, IsNotReadUntilSomebodyLooksIntoIt) {
  PairText pairs(json_);
  const Value value = pairs.add("a", 1).value();
  ASSERT_NE(UnreadValue::textOf(value), nullptr);
  EXPECT_EQ(*UnreadValue::textOf(value), R"({"a":1})");
}

TEST_F(APairText, HasNullForANumberThatIsNoneOfJSONs) {
  PairText pairs(json_);
  pairs.add("a", std::nan("")).add("b", Array{INFINITY, 1});
  EXPECT_EQ(textIn(pairs), R"({"a":null,"b":[null,1]})");
}

TEST_F(APairText, NestsNoDeeperThanAnyValue) {
  PairText deepest(json_);
  const Value value = deepest.add("a", listsInLists(Value::deepest - 1)).value();
  EXPECT_EQ(value.depth(), Value::deepest);
  EXPECT_EQ(value.dictionary()["a"], listsInLists(Value::deepest - 1));
  PairText tooDeep(json_);
  EXPECT_EQ(tooDeep.add("a", listsInLists(Value::deepest)).value().depth(), Value::deepest + 1);
  EXPECT_EQ(textIn(tooDeep), R"({"a":null})");
}

TEST_F(APairText, DoesWithoutAnotherOneThatNestsTooDeep) {
  PairText inner(json_);
  inner.add("a", listsInLists(Value::deepest - 1));
  PairText outer(json_);
  outer.add("inner", inner).add("b", 1);
  EXPECT_EQ(textIn(outer), R"({"inner":null,"b":1})");
}

}  // namespace
}  // namespace fliprugair
