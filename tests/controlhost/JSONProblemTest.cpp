#include <gtest/gtest.h>

#include "tools/controlhost/HttpHeaders.h"
#include "tools/controlhost/JSONProblem.h"

namespace fliprugair::controlhost {

namespace {

using namespace std::string_literals;

TEST(JSONProblem, SaysWhereAByte0Stands) {
  EXPECT_EQ(jsonProblem("{\n \"action\": \"a\0b\"}"s), "line 2, column 14: a byte 0 stands here.");
  EXPECT_EQ(jsonProblem("\0"s), "line 1, column 1: a byte 0 stands here.");
  EXPECT_EQ(jsonProblem("{}\0"s), "line 1, column 3: a byte 0 stands here.");
}

TEST(JSONProblem, SaysWhereATextCeasesToBeUTF8) {
  EXPECT_EQ(utf8Problem("caf\xC3\xA9\n\xE9!"), "line 2, column 1: byte 7 is 0xE9.");
  EXPECT_EQ(utf8Problem("cut \xE2\x82"), "line 1, column 5: byte 5 is 0xE2.");
}

TEST(JSONProblem, FindsNoUTF8WhereTheHostReadsNone) {
  for (const std::string& text :
       {""s, "a\0b"s, "caf\xC3\xA9"s, "\xEF\xBB\xBF{}"s, "\xEF\xBF\xBD"s, "\xEF\xBF\xBF"s, "\xF0\x9F\x98\x80"s,
        "\xF4\x8F\xBF\xBF"s, "\x80"s, "\xC0\x80"s, "\xC1\xBF"s, "\xE0\x9F\xBF"s, "\xED\xA0\x80"s, "\xF0\x8F\xBF\xBF"s,
        "\xF4\x90\x80\x80"s, "\xF5\x80\x80\x80"s, "\xFF\xFE{\0"s, "\xC3"s, "\xEF\xBF"s}) {
    EXPECT_EQ(utf8Problem(text).has_value(), !isUTF8(text)) << latin1(text);
  }
}

}  // namespace

}  // namespace fliprugair::controlhost
