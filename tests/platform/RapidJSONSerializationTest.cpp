#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "Fliprugair/platform/Text.h"
#include "platform/json/RapidJSONSerialization.h"

namespace fliprugair {
namespace {

using namespace std::string_literals;
using Layout = JSONSerialization::Layout;
using Kind = Value::Kind;

std::optional<std::string> textOf(const Value& value, Layout layout = Layout::compact) {
  return RapidJSONSerialization().text(value, layout);
}

std::optional<Value> valueOf(std::string_view text) { return RapidJSONSerialization().value(text); }

std::string nested(std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); }

TEST(JSONText, KeepsTheKindsOfValues) {
  struct Case {
    std::string_view text;
    Value value;
  };
  const std::array cases{
      Case{"null", Value()},
      Case{"true", true},
      Case{"false", false},
      Case{"0", 0},
      Case{"-7", -7},
      Case{"1.0", 1.0},
      Case{"\"\"", ""},
      Case{"\"1\"", "1"},
      Case{"[]", Array()},
      Case{"{}", Dictionary()},
      Case{"[1,[2],{}]", Array({1, Array({2}), Dictionary()})},
      Case{R"({"a":null})", Dictionary({{"a", Value()}})},
      Case{"9223372036854775807", INT64_MAX},
      Case{"-9223372036854775808", INT64_MIN},
  };
  for (const auto& [text, value] : cases) {
    EXPECT_EQ(valueOf(text), value) << text;
    EXPECT_EQ(textOf(value), text);
  }
}

TEST(JSONText, KeepsTheOrderOfKeys) {
  const std::string text = R"({"z":1,"a":{"y":2,"b":3},"m":4})";
  ASSERT_TRUE(valueOf(text).has_value());
  EXPECT_EQ(textOf(*valueOf(text)), text);
}

TEST(JSONText, OfRepeatedKeysTheLastHoldsInTheFirstPlace) {
  ASSERT_TRUE(valueOf(R"({"a":1,"b":2,"a":3})").has_value());
  EXPECT_EQ(textOf(*valueOf(R"({"a":1,"b":2,"a":3})")), R"({"a":3,"b":2})");
}

TEST(JSONText, EscapesNoSlashAndNothingOutsideASCII) {
  EXPECT_EQ(textOf("a/b"), R"("a/b")");
  EXPECT_EQ(textOf("\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80"), "\"\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80\"");
  EXPECT_EQ(textOf("\x7F"), "\"\x7F\"");
  EXPECT_EQ(valueOf(R"("a\/b\u00e9\ud83d\ude00")"), Value("a/b\xC3\xA9\xF0\x9F\x98\x80"));
}

TEST(JSONText, EscapesQuotesBackslashesAndControlCharacters) {
  EXPECT_EQ(textOf("\"\\"), R"("\"\\")");
  for (int character = 0; character < 0x20; ++character) {
    const std::string raw(1, static_cast<char>(character));
    const auto text = textOf(raw);
    ASSERT_TRUE(text.has_value());
    EXPECT_EQ(text->find_first_of(raw), std::string::npos) << character;
    EXPECT_EQ(valueOf(*text), Value(raw)) << character;
  }
}

/// What looks at several bytes at a time must see each of them.
TEST(JSONText, EscapesWhereverTheCharacterStandsInATextOfAnyLength) {
  for (std::size_t length = 1; length < 26; ++length) {
    for (std::size_t place = 0; place < length; ++place) {
      for (const char character : "\x01\x1F\x20!\"#[\\]\x7F"s) {
        std::string raw(length, 'x');
        raw[place] = character;
        const bool isEscaped = character < 0x20 || character == '"' || character == '\\';
        const auto text = textOf(raw);
        ASSERT_TRUE(text.has_value());
        EXPECT_EQ(text == '"' + raw + '"', !isEscaped) << raw;
        EXPECT_EQ(valueOf(*text), Value(raw)) << raw;
      }
    }
  }
}

TEST(JSONText, EscapesBesideWhatIsNotASCII) {
  for (const std::string_view other : {"\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xC2\x9C", "\xC2\xA2"}) {
    for (std::size_t length = 0; length < 20; ++length) {
      const std::string raw = std::string(length, 'x') + std::string(other);
      EXPECT_EQ(textOf(raw), '"' + raw + '"');
      EXPECT_EQ(textOf(raw + '"'), '"' + raw + R"(\"")");
      EXPECT_EQ(textOf('\n' + raw), R"("\n)" + raw + '"');
    }
  }
}

TEST(JSONText, EscapesInKeysAsInValues) {
  const Value value = Dictionary({{"", ""}, {"a\"b", "c\\d"}, {"long enough for two words\n", 1}});
  EXPECT_EQ(textOf(value), R"({"":"","a\"b":"c\\d","long enough for two words\n":1})");
  EXPECT_EQ(textOf(value, Layout::pretty),
            "{\n    \"\": \"\",\n    \"a\\\"b\": \"c\\\\d\",\n    \"long enough for two words\\n\": 1\n}");
}

TEST(JSONText, EscapesTheLastCharacterWhateverStoodBehindItBefore) {
  std::string raw(64, 'x');
  raw.resize(20);
  raw.back() = '"';
  EXPECT_EQ(textOf(std::move(raw)), '"' + std::string(19, 'x') + R"(\"")");
}

TEST(JSONText, IsNoneOfWhatHoldsANumberThatJSONLacksWhateverFollowsIt) {
  const Value lacking = std::numeric_limits<double>::quiet_NaN();
  for (const Layout layout : {Layout::compact, Layout::pretty}) {
    EXPECT_EQ(textOf(Array({lacking, 1}), layout), std::nullopt);
    EXPECT_EQ(textOf(Value{{"a", lacking}, {"b", 1}}, layout), std::nullopt);
    EXPECT_EQ(textOf(Value{{"a", Array({lacking})}, {"b", 1}}, layout), std::nullopt);
  }
}

TEST(JSONText, KeepsEmbeddedNULs) {
  const Value value = Dictionary({{"k\0y"s, "a\0b"s}});
  const auto text = textOf(value);
  ASSERT_TRUE(text.has_value());
  EXPECT_EQ(*text, R"({"k\u0000y":"a\u0000b"})");
  EXPECT_EQ(valueOf(*text), value);
}

TEST(JSONText, ReplacesInvalidUtf8ThatItReads) {
  EXPECT_EQ(valueOf("\"a\xFF\""), Value("a\xEF\xBF\xBD"));
  EXPECT_EQ(valueOf("{\"\xC0\":1}"), Value({{"\xEF\xBF\xBD", 1}}));
}

TEST(JSONText, IsValidUtf8WhateverTheKeysAre) {
  const auto text = textOf(Dictionary({{"k\xFF"s, 1}}));
  ASSERT_TRUE(text.has_value());
  EXPECT_EQ(validUtf8(*text), *text);
}

TEST(JSONText, WritesNumbersExactly) {
  for (const double number :
       {0.1, -0.5, 1e21, 1e-7, 123456789.123, 5e-324, std::numeric_limits<double>::max(), 1700000000.25}) {
    const auto text = textOf(number);
    ASSERT_TRUE(text.has_value()) << number;
    EXPECT_EQ(valueOf(*text), Value(number)) << *text;
  }
  EXPECT_EQ(textOf(0.5), "0.5");
  EXPECT_EQ(textOf(INT64_MIN), "-9223372036854775808");
}

TEST(JSONText, ReadsNumbersExactly) {
  EXPECT_EQ(valueOf("1e3"), Value(1000.0));
  EXPECT_EQ(valueOf("1E+2"), Value(100.0));
  EXPECT_EQ(valueOf("2.5e-1"), Value(0.25));
  EXPECT_EQ(valueOf("0.1"), Value(0.1));
  EXPECT_EQ(valueOf("0.30000000000000004"), Value(0.30000000000000004));
  EXPECT_EQ(valueOf("1e-400"), Value(0.0));
  const auto minusZero = valueOf("-0.0");
  ASSERT_TRUE(minusZero && minusZero->kind() == Kind::real);
  EXPECT_TRUE(std::signbit(minusZero->realValue()));
}

TEST(JSONText, MinusZeroIsANumberThatIsZero) {
  const auto value = valueOf("-0");
  ASSERT_TRUE(value.has_value());
  EXPECT_TRUE(value->isNumber());
  EXPECT_EQ(value->realValue(), 0.0);
}

TEST(JSONText, AZeroIsZeroWhateverItsExponent) {
  for (const char* text :
       {"0e0", "0E-30", "0.0e-30", "0.000e+12", "0.00000000000000000000000000000000000000001e-400"}) {
    ASSERT_TRUE(valueOf(text).has_value()) << text;
    EXPECT_EQ(valueOf(text)->kind(), Kind::real) << text;
    EXPECT_EQ(valueOf(text)->realValue(), 0.0) << text;
    EXPECT_FALSE(std::signbit(valueOf(text)->realValue())) << text;
    const std::string negative = std::string("-") + text;
    ASSERT_TRUE(valueOf(negative).has_value()) << negative;
    EXPECT_TRUE(std::signbit(valueOf(negative)->realValue())) << negative;
  }
}

TEST(JSONText, IntegersOf64BitsAreKeptWhateverTheirSign) {
  for (const std::string text : {"-9223372036854775808", "9223372036854775807", "9223372036854775808",
                                 "18446744073709551614", "18446744073709551615"}) {
    const auto value = valueOf(text);
    ASSERT_TRUE(value && value->kind() == Kind::integer) << text;
    EXPECT_EQ(textOf(*value), text);
  }
}

TEST(JSONText, IntegersBeyond64BitsAreReals) {
  EXPECT_EQ(valueOf("18446744073709551616"), Value(18446744073709551616.0));
  EXPECT_EQ(valueOf("-9223372036854775809"), Value(-9223372036854775809.0));
  EXPECT_EQ(valueOf("123456789012345678901234567890"), Value(123456789012345678901234567890.0));
}

TEST(JSONText, RefusesNumbersThatAreNoneOfJSONs) {
  EXPECT_EQ(textOf(std::numeric_limits<double>::infinity()), std::nullopt);
  EXPECT_EQ(textOf(-std::numeric_limits<double>::infinity()), std::nullopt);
  EXPECT_EQ(textOf(std::nan("")), std::nullopt);
  EXPECT_EQ(textOf(Array({1, Dictionary({{"deep", std::nan("")}})})), std::nullopt);
  EXPECT_EQ(textOf(Dictionary({{"deep", Array({std::nan("")})}}), Layout::pretty), std::nullopt);
  for (const std::string_view text :
       {"NaN", "Infinity", "-Infinity", "inf", "1e400", "-1e400", "01", "+1", ".5", "5.", "1e", "0x1", "--1"}) {
    EXPECT_EQ(valueOf(text), std::nullopt) << text;
  }
}

TEST(JSONText, RefusesWhatIsNotOneJSONText) {
  for (const std::string& text :
       {""s,       " "s,       "{"s,         "}"s,          "["s,     "[1"s,    "[1,]"s, "[,1]"s,
        "[1 2]"s,  "{\"a\"}"s, "{\"a\":}"s,  "{\"a\":1,}"s, "{a:1}"s, "{1:1}"s, "'a'"s,  "\"a"s,
        "\"\n\""s, "\"\\x\""s, "\"\\u12\""s, "tru"s,        "nul"s,   "True"s,  "[1]]"s, "{}{}"s,
        "1 2"s,    "null x"s,  "[] // c"s,   "/**/1"s,      "{}\xFF"s}) {
    EXPECT_EQ(valueOf(text), std::nullopt) << text;
  }
}

TEST(JSONText, RefusesWhatFollowsAlsoBehindANUL) {
  EXPECT_EQ(valueOf("{}\0"s), std::nullopt);
  EXPECT_EQ(valueOf("{}\0garbage"s), std::nullopt);
  EXPECT_EQ(valueOf("1 \0 2"s), std::nullopt);
  EXPECT_EQ(valueOf("\0"s), std::nullopt);
  EXPECT_EQ(valueOf("[1,\0 2]"s), std::nullopt);
}

TEST(JSONText, AllowsBlanksAround) { EXPECT_EQ(valueOf(" \t\r\n[ 1 , 2 ] \n"), Value(Array({1, 2}))); }

TEST(JSONText, RefusesWhatNestsDeeperThanAllowed) {
  const RapidJSONSerialization json;
  EXPECT_TRUE(json.value(nested(512)).has_value());
  EXPECT_FALSE(json.value(nested(513)).has_value());
  EXPECT_TRUE(json.value(nested(3), 3).has_value());
  EXPECT_FALSE(json.value(nested(4), 3).has_value());
  EXPECT_TRUE(json.value(R"({"a":{"b":[1]}})", 3).has_value());
  EXPECT_FALSE(json.value(R"({"a":{"b":[[]]}})", 3).has_value());
  EXPECT_TRUE(json.value("[[],[],[]]", 2).has_value());
  EXPECT_TRUE(json.value("1", 0).has_value());
  EXPECT_FALSE(json.value("[]", 0).has_value());
}

TEST(JSONText, RefusesAMillionBracketsWithoutHarm) {
  EXPECT_EQ(valueOf(nested(1000000)), std::nullopt);
  EXPECT_EQ(valueOf(std::string(1000000, '[')), std::nullopt);
  std::string objects;
  for (int depth = 0; depth < 200000; ++depth) objects += R"({"a":)";
  EXPECT_EQ(valueOf(objects), std::nullopt);
}

TEST(JSONText, TakesLongFlatText) {
  std::string text = "[0";
  for (int number = 1; number < 200000; ++number) text += "," + std::to_string(number);
  text += "]";
  const auto value = valueOf(text);
  ASSERT_TRUE(value.has_value());
  EXPECT_EQ(value->array().size(), 200000U);
  EXPECT_EQ(textOf(*value), text);
  const std::string enormous(1 << 20, 'x');
  EXPECT_EQ(valueOf("\"" + enormous + "\""), Value(enormous));
}

TEST(JSONText, LaysOutAMemberALine) {
  const Value value = Dictionary({{"a", 1}, {"b", Array({true, Value()})}, {"c", Dictionary()}, {"d", Array()}});
  EXPECT_EQ(textOf(value, Layout::pretty),
            "{\n    \"a\": 1,\n    \"b\": [\n        true,\n        null\n    ],\n    \"c\": {},\n    \"d\": []\n}");
}

TEST(JSONText, LaysOutWhatIsEmptyOrAloneOnOneLine) {
  EXPECT_EQ(textOf(Dictionary(), Layout::pretty), "{}");
  EXPECT_EQ(textOf(Array(), Layout::pretty), "[]");
  EXPECT_EQ(textOf("a", Layout::pretty), R"("a")");
}

/// As the C library reads it; null when it is beyond all reals.
Value readByTheLibrary(const std::string& number) {
  const double real = std::strtod(number.c_str(), nullptr);
  return std::isinf(real) ? Value() : Value(real);
}

TEST(JSONText, ReadsRealsOfAnySizeAsTheNearestThereIs) {
  const std::string digits(59, '4');
  const std::string zeros(400, '0');
  const std::string manyZeros(10000, '0');
  const std::vector<std::string> numbers = {digits + "1e308",
                                            digits + "1e249",
                                            digits + "1e248",
                                            "1e309",
                                            "1.7976931348623157e308",
                                            "1.8e308",
                                            "9.9e307",
                                            "1" + zeros + ".5",
                                            "0." + zeros + "1e401",
                                            "0." + zeros + "1",
                                            "-0." + zeros + "1e77",
                                            "4.9e-324",
                                            "3e-324",
                                            "2e-324",
                                            "1e-324",
                                            "1e-400",
                                            "1E-400",
                                            "1E400",
                                            "99e308",
                                            "0." + manyZeros + "1e9600",
                                            "1" + manyZeros + "e-9600",
                                            "123456789012345678901234567890e-340",
                                            "1" + std::string(300, '0') + "e-1000",
                                            "1" + std::string(300, '0') + "e-999",
                                            "1e999999999999999999999",
                                            "1e-999999999999999999999",
                                            "-0.0e5",
                                            "0.0",
                                            "-0.000",
                                            "2.5e+0"};
  for (const std::string& number : numbers) {
    const auto read = RapidJSONSerialization().value(number);
    EXPECT_EQ(read.value_or(Value()), readByTheLibrary(number)) << number;
    if (read) {
      EXPECT_EQ(std::signbit(read->realValue()), number.front() == '-') << number;
    }
  }
}

TEST(JSONText, ThatIsNotReadYetIsReadWhenSomebodyLooksIntoIt) {
  const RapidJSONSerialization json;
  const std::string text = R"({"a":[1.50],"b":{"c":"\""}})";
  const Value value = json.unread(text, 2);
  EXPECT_TRUE(value.isDictionary());
  EXPECT_EQ(value.depth(), 2U);
  EXPECT_EQ(json.text(value), text);
  EXPECT_EQ(value, json.value(text));
  EXPECT_EQ(value.dictionary()["b"], Value({{"c", "\""}}));
}

}  // namespace
}  // namespace fliprugair
