#include <cmath>
#include <limits>

#include "Fliprugair/platform/Value.h"

namespace fliprugair {
namespace {

using Kind = Value::Kind;

TEST(Value, IsOfTheKindOfWhatItIsMadeOf) {
  EXPECT_EQ(Value().kind(), Kind::null);
  EXPECT_EQ(Value(nullptr).kind(), Kind::null);
  EXPECT_EQ(Value(static_cast<const char*>(nullptr)).kind(), Kind::null);
  EXPECT_EQ(Value(true).kind(), Kind::boolean);
  EXPECT_EQ(Value(0).kind(), Kind::integer);
  EXPECT_EQ(Value(std::uint64_t{7}).kind(), Kind::integer);
  EXPECT_EQ(Value(UINT64_MAX).kind(), Kind::integer);
  EXPECT_EQ(Value(1.0).kind(), Kind::real);
  EXPECT_EQ(Value("").kind(), Kind::text);
  EXPECT_EQ(Value(std::string()).kind(), Kind::text);
  EXPECT_EQ(Value(std::string_view()).kind(), Kind::text);
  EXPECT_EQ(Value(Array()).kind(), Kind::array);
  EXPECT_EQ(Value(Dictionary()).kind(), Kind::dictionary);
  EXPECT_EQ(Value({{"a", 1}}).kind(), Kind::dictionary);
}

TEST(Value, ABooleanCountsAsANumber) {
  EXPECT_TRUE(Value(true).isNumber());
  EXPECT_TRUE(Value(1).isNumber());
  EXPECT_TRUE(Value(1.5).isNumber());
  EXPECT_FALSE(Value("1").isNumber());
  EXPECT_FALSE(Value().isNumber());
  EXPECT_FALSE(Value(Array({1})).isNumber());
}

TEST(Value, AnswersForItsBooleanValue) {
  for (const Value& yes :
       {Value(true), Value(1), Value(-1), Value(INT64_MIN), Value(0.1), Value(-1e300), Value("1"), Value("yes")}) {
    EXPECT_TRUE(yes.boolValue());
  }
  for (const Value& no : {Value(), Value(false), Value(0), Value(0.0), Value(-0.0), Value(""), Value("0"), Value("no"),
                          Value(Array({1})), Value({{"a", true}})}) {
    EXPECT_FALSE(no.boolValue());
  }
}

TEST(Value, HoldsUnsignedIntegersOf64Bits) {
  EXPECT_EQ(Value(std::uint64_t{INT64_MAX}), Value(INT64_MAX));
  const Value large(UINT64_MAX - 1);
  EXPECT_TRUE(large.isUnsigned() && large.isNumber() && large.boolValue());
  EXPECT_EQ(large.unsignedValue(), UINT64_MAX - 1);
  EXPECT_EQ(large.integerValue(), INT64_MAX);
  EXPECT_EQ(large.realValue(), 18446744073709551616.0);
  EXPECT_EQ(large, Value(UINT64_MAX - 1));
  EXPECT_FALSE(large == Value(UINT64_MAX) || large == Value(INT64_MAX) || large == Value(18446744073709551614.0));
  EXPECT_FALSE(Value(INT64_MAX).isUnsigned());
  EXPECT_EQ(Value(INT64_MAX).unsignedValue(), 0U);
}

TEST(Value, TruncatesAndSaturatesItsIntegerValue) {
  EXPECT_EQ(Value(true).integerValue(), 1);
  EXPECT_EQ(Value(1.9).integerValue(), 1);
  EXPECT_EQ(Value(-1.9).integerValue(), -1);
  EXPECT_EQ(Value(1e300).integerValue(), INT64_MAX);
  EXPECT_EQ(Value(-1e300).integerValue(), INT64_MIN);
  EXPECT_EQ(Value(9223372036854775807.0).integerValue(), INT64_MAX);
  EXPECT_EQ(Value(-9223372036854775808.0).integerValue(), INT64_MIN);
  EXPECT_EQ(Value(std::numeric_limits<double>::infinity()).integerValue(), INT64_MAX);
  EXPECT_EQ(Value(-std::numeric_limits<double>::infinity()).integerValue(), INT64_MIN);
  EXPECT_EQ(Value(std::nan("")).integerValue(), 0);
  EXPECT_EQ(Value("-12abc").integerValue(), -12);
  EXPECT_EQ(Value("99999999999999999999").integerValue(), INT64_MAX);
  EXPECT_EQ(Value().integerValue(), 0);
  EXPECT_EQ(Value(Array({7})).integerValue(), 0);
  EXPECT_EQ(Value({{"a", 7}}).integerValue(), 0);
}

TEST(Value, OfAnotherKindReadsAsEmpty) {
  EXPECT_EQ(Value(5).text(), "");
  EXPECT_TRUE(Value(5).array().empty());
  EXPECT_TRUE(Value(5).dictionary().empty());
  EXPECT_EQ(Value("5").realValue(), 0.0);
  EXPECT_EQ(Value(5).realValue(), 5.0);
  EXPECT_EQ(Value(true).realValue(), 1.0);
}

TEST(Value, IsEqualInKindAndContentOnly) {
  EXPECT_EQ(Value(1), Value(1));
  EXPECT_FALSE(Value(1) == Value(1.0));
  EXPECT_FALSE(Value(1) == Value(true));
  EXPECT_FALSE(Value("1") == Value(1));
  EXPECT_FALSE(Value("") == Value());
  EXPECT_FALSE(Value(Array()) == Value(Dictionary()));
  EXPECT_EQ(Value("a"), Value("a"));
  EXPECT_EQ(Value(Array({1, "a", Value()})), Value(Array({1, "a", Value()})));
  EXPECT_FALSE(Value(Array({1, 2})) == Value(Array({2, 1})));
  EXPECT_EQ(Value({{"a", 1}, {"b", 2}}), Value({{"a", 1}, {"b", 2}}));
  EXPECT_FALSE(Value({{"a", 1}, {"b", 2}}) == Value({{"b", 2}, {"a", 1}}));  // the order is part of it
}

TEST(Value, AnArrayEqualsOneOfItsLengthAlone) {
  EXPECT_FALSE(Value(Array({1, 2})) == Value(Array({1})));
  EXPECT_FALSE(Value(Array({1})) == Value(Array({1, 2})));
  EXPECT_FALSE(Value(Array({Value()})) == Value(Array()));
}

TEST(Value, ADictionaryEqualsOneWithItsKeysAlone) {
  EXPECT_FALSE(Value({{"a", 1}}) == Value({{"b", 1}}));
  EXPECT_FALSE(Value({{"a", 1}}) == Value({{"a", 2}}));
  EXPECT_FALSE(Value({{"a", 1}, {"b", 2}}) == Value({{"a", 1}}));
  EXPECT_FALSE(Value({{"a", 1}}) == Value({{"a", 1}, {"b", 2}}));
}

TEST(Value, TheSameObjectIsOneThatIsShared) {
  const Value text = std::string(100, 'a');
  const Value copy = text;
  EXPECT_TRUE(text.isSameObject(copy));
  EXPECT_FALSE(text.isSameObject(std::string(100, 'a')));
  EXPECT_FALSE(Value(std::string_view(text.text())).isSameObject(std::string_view(text.text())));
  EXPECT_TRUE(Value("a").isSameObject(Value("a")));
  EXPECT_FALSE(Value("a").isSameObject(Value("b")));
  EXPECT_FALSE(Value("a").isSameObject(text));
  EXPECT_TRUE(Value(1).isSameObject(Value(1)));
  EXPECT_FALSE(Value(1).isSameObject(Value(true)));
  const Array list{1, 2};
  EXPECT_TRUE(Value(list).isSameObject(Value(list)));
  EXPECT_FALSE(Value(list).isSameObject(Value(Array{1, 2})));
}

TEST(Value, HoldsTextOfAnyLength) {
  for (std::size_t length = 0; length < 70; ++length) {
    std::string text(length, 'x');
    if (length > 2) text[length / 2] = '\0';
    const Value value = text;
    const Value viewed = std::string_view(text);
    EXPECT_EQ(value.kind(), Kind::text);
    EXPECT_EQ(value.text(), text);
    EXPECT_EQ(viewed, value);
    EXPECT_FALSE(value == Value(text + "x"));
    text += "\xC3\xA9";
    EXPECT_EQ(Value(text).text(), text);
    EXPECT_EQ(Value(std::string_view(text)).text(), text);
    EXPECT_EQ(Value(text + '\xFF').text(), text + "\xEF\xBF\xBD");
    EXPECT_EQ(Value('\xFF' + text).text(), "\xEF\xBF\xBD" + text);
  }
}

TEST(Value, TextOfATemporaryOneOutlivesIt) {
  for (const std::string& expected : {std::string("short"), std::string(100, 'l')}) {
    const std::string& text = Value(expected).text();
    EXPECT_EQ(text, expected);
  }
}

TEST(Value, TextIsAlwaysValidUtf8) {
  EXPECT_EQ(Value("a\xFF").text(), "a\xEF\xBF\xBD");
  EXPECT_EQ(Value(std::string("\xC0\x80")).text(), "\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(Value(std::string_view("\xED\xA0\x80")).text(), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
}

/// A way to put a value into an array or dictionary.
struct Holding {
  const char* name;
  Value (*around)(const Value& inner);
};

class Nesting : public testing::TestWithParam<Holding> {};

TEST_P(Nesting, IsCounted) {
  const auto around = GetParam().around;
  EXPECT_EQ(around(1).depth(), 1U);
  EXPECT_EQ(around(around(around("text"))).depth(), 3U);
  Value value = 1;
  for (std::size_t level = 0; level < Value::deepest; ++level) value = around(value);
  EXPECT_EQ(value.depth(), Value::deepest);
}

TEST_P(Nesting, HasABoundBeyondWhichNullStandsForWhatIsTooDeepAndTheDepthSaysSo) {
  const auto around = GetParam().around;
  Value value = 1;
  for (std::size_t level = 0; level < Value::deepest; ++level) value = around(value);
  value = around(value);
  EXPECT_EQ(value, around(Value()));
  EXPECT_EQ(value.depth(), Value::deepest + 1);
  for (std::size_t level = 0; level < 3 * Value::deepest; ++level) value = around(value);
  EXPECT_EQ(value, around(Value()));
  EXPECT_EQ(value.depth(), Value::deepest + 1);
}

Dictionary dictionaryOf(int size) {
  Dictionary dictionary;
  for (int key = 0; key < size; ++key) dictionary = dictionary.setting(std::to_string(key), key);
  return dictionary;
}

INSTANTIATE_TEST_SUITE_P(
    Ways, Nesting,
    testing::Values(
        Holding{"array", [](const Value& inner) -> Value { return Array{inner}; }},
        Holding{"appending", [](const Value& inner) -> Value { return Array{1}.appending(inner); }},
        Holding{"longArray",
                [](const Value& inner) -> Value {
                  std::vector<Value> items(70);
                  items.back() = inner;
                  return Array(std::move(items));
                }},
        Holding{"dictionary",
                [](const Value& inner) {
                  return Value{{"a", 1}, {"b", inner}};
                }},
        Holding{"setting", [](const Value& inner) -> Value { return dictionaryOf(1).setting("new", inner); }},
        Holding{"replacing", [](const Value& inner) -> Value { return dictionaryOf(2).setting("1", inner); }},
        Holding{"growing", [](const Value& inner) -> Value { return dictionaryOf(32).setting("new", inner); }}),
    [](const auto& way) { return way.param.name; });

TEST(Value, NestsNoDeeperThanItsArraysAndDictionaries) {
  for (const Value& value : {Value(), Value(true), Value(1), Value(1.5), Value("text")}) EXPECT_EQ(value.depth(), 0U);
  EXPECT_EQ(Value(Array()).depth(), 1U);
  EXPECT_EQ(Value(Dictionary()).depth(), 1U);
}

TEST(Value, KeepsItsDepthWhenOtherEntriesCome) {
  // Appended: compilers differ in whether a list of one array is a copy of it.
  const Array array = Array().appending(Array().appending(1));
  Dictionary dictionary = dictionaryOf(1).setting("deep", array);
  for (int key = 1; key < 100; ++key) dictionary = dictionary.setting(std::to_string(key), key);
  EXPECT_EQ(Value(dictionary.removing("5")).depth(), 3U);
  EXPECT_EQ(Value(Array().appending(array).appending(1)).depth(), 3U);
}

}  // namespace
}  // namespace fliprugair
