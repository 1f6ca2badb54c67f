#include <cstdint>

#include "platform/JSONText.h"

namespace fliprugair {
namespace {

std::string plainTextOf(const Value& value) {
  JSONText text;
  EXPECT_TRUE(text.addPlain(value));
  return std::string(text.text());
}

TEST(JSONTextInTheMaking, HasWhatIsAddedOneBehindTheOther) {
  JSONText text;
  EXPECT_EQ(text.text(), "");
  text.add('[');
  text.addText("a");
  text.add(",[1],");
  text.removeLast();
  text.add(std::string_view());
  text.add(']');
  EXPECT_EQ(text.text(), R"(["a",[1]])");
}

TEST(JSONTextInTheMaking, HasPairsWithACommaBehindEach) {
  JSONText text;
  text.addPair("a", "");
  text.addPair("a key of two words", "plain");
  text.addPair("", "\"\n");
  text.addKey("key");
  EXPECT_EQ(text.text(), R"("a":"","a key of two words":"plain","":"\"\n","key":)");
}

TEST(JSONTextInTheMaking, TakesAnyLength) {
  for (const std::size_t length : {1U, 1023U, 1024U, 1025U, 5000U, 100'000U}) {
    JSONText text;
    std::string expected;
    for (int round = 0; round < 3; ++round) {
      text.addText(std::string(length, 'x'));
      text.addText(std::string(length, '\x1F'));
      expected += '"' + std::string(length, 'x') + "\"\"";
      for (std::size_t count = 0; count < length; ++count) expected += "\\u001F";
      expected += '"';
    }
    EXPECT_EQ(text.text(), expected) << length;
  }
}

TEST(JSONTextInTheMaking, EscapesQuotationMarksBackslashesAndControlCharacters) {
  EXPECT_EQ(plainTextOf("\"\\"), R"("\"\\")");
  EXPECT_EQ(plainTextOf("\b\f\n\r\t/"), R"("\b\f\n\r\t/")");
  EXPECT_EQ(plainTextOf(std::string("\0\x01\x1A\x1F\x7F", 5)), "\"\\u0000\\u0001\\u001A\\u001F\x7F\"");
  EXPECT_EQ(plainTextOf("\xE2\x82\xAC\n\xF0\x9F\x98\x80"), "\"\xE2\x82\xAC\\n\xF0\x9F\x98\x80\"");
}

TEST(JSONTextInTheMaking, HasIntegersToTheirBounds) {
  for (const auto number : {INT64_MIN, INT64_MIN + 1, std::int64_t{-10}, std::int64_t{-1}, std::int64_t{0},
                            std::int64_t{9}, std::int64_t{10}, INT64_MAX}) {
    EXPECT_EQ(plainTextOf(number), std::to_string(number));
  }
  EXPECT_EQ(plainTextOf(std::uint64_t{INT64_MAX} + 1), "9223372036854775808");
  EXPECT_EQ(plainTextOf(UINT64_MAX), "18446744073709551615");
}

TEST(JSONTextInTheMaking, HasTruthAndNothing) {
  EXPECT_EQ(plainTextOf(true), "true");
  EXPECT_EQ(plainTextOf(false), "false");
  EXPECT_EQ(plainTextOf(nullptr), "null");
}

TEST(JSONTextInTheMaking, LeavesRealsAndContainersToOthers) {
  for (const Value& value : {Value(1.0), Value(Array{1}), Value{{"a", 1}}}) {
    JSONText text;
    EXPECT_FALSE(text.addPlain(value));
    EXPECT_EQ(text.text(), "");
  }
}

}  // namespace
}  // namespace fliprugair
