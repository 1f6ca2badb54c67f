#include <array>
#include <clocale>
#include <cmath>
#include <limits>
#include <random>

#include "Fliprugair/platform/Text.h"

namespace fliprugair {
namespace {

using namespace std::string_literals;

constexpr const char* replacement = "\xEF\xBF\xBD";

std::string replacements(std::size_t count) {
  std::string text;
  for (std::size_t index = 0; index < count; ++index) text += replacement;
  return text;
}

TEST(ValidUtf8, LeavesWhatIsValidAsItIs) {
  const std::array texts{
      ""s,
      "plain"s,
      "\0nul\0"s,
      "\x7F"s,
      "\xC2\x80"s,          // the lowest of two bytes
      "\xDF\xBF"s,          // the highest
      "\xE0\xA0\x80"s,      // the lowest of three
      "\xED\x9F\xBF"s,      // the last before the surrogates
      "\xEE\x80\x80"s,      // the first behind them
      "\xEF\xBF\xBF"s,      // U+FFFF
      "\xF0\x90\x80\x80"s,  // the lowest of four
      "\xF4\x8F\xBF\xBF"s,  // U+10FFFF
  };
  for (const std::string& text : texts) EXPECT_EQ(validUtf8(text), text) << testing::PrintToString(text);
}

TEST(ValidUtf8, PutsOneReplacementForEachLongestInvalidPart) {
  struct Case {
    std::string bytes;
    std::string expected;
  };
  const std::array cases{
      Case{"a\xFF"s + "b", "a"s + replacement + "b"},
      Case{"\x80"s, replacements(1)},                               // continuation without a lead
      Case{"\x80\xBF"s, replacements(2)},                           // each stands alone
      Case{"\xC0\xAF"s, replacements(2)},                           // overlong "/" in two bytes
      Case{"\xC1\xBF"s, replacements(2)},                           //
      Case{"\xE0\x80\xAF"s, replacements(3)},                       // in three
      Case{"\xE0\x9F\xBF"s, replacements(3)},                       //
      Case{"\xF0\x80\x80\xAF"s, replacements(4)},                   // in four
      Case{"\xF0\x8F\xBF\xBF"s, replacements(4)},                   //
      Case{"\xED\xA0\x80"s, replacements(3)},                       // the first surrogate
      Case{"\xED\xBF\xBF"s, replacements(3)},                       // the last
      Case{"\xED\xA0\x80\xED\xB0\x80"s, replacements(6)},           // a pair of them
      Case{"\xF4\x90\x80\x80"s, replacements(4)},                   // U+110000
      Case{"\xF5\x80\x80\x80"s, replacements(4)},                   //
      Case{"\xF8\x88\x80\x80\x80"s, replacements(5)},               // five bytes were a form once
      Case{"\xFE\xFF"s, replacements(2)},                           //
      Case{"\xC3\xC0"s, replacements(2)},                           // the first byte that continues nothing
      Case{"\xE2\x82\xC0"s, replacements(2)},                       //
      Case{"\xC2"s, replacements(1)},                               // truncated
      Case{"\xE2\x82"s, replacements(1)},                           //
      Case{"\xF0\x9F\x98"s, replacements(1)},                       //
      Case{"\xE2\x82z"s, replacements(1) + "z"},                    // broken off by a character
      Case{"\xF0\x9F\xC3\xA9"s, replacements(1) + "\xC3\xA9"},      // broken off by another sequence
      Case{"\xE2\xE2\x82\xAC"s, replacements(1) + "\xE2\x82\xAC"},  //
      Case{"x\0\xFFy"s, "x\0"s + replacement + "y"},
  };
  for (const auto& [bytes, expected] : cases) EXPECT_EQ(validUtf8(bytes), expected) << testing::PrintToString(bytes);
}

TEST(ValidUtf8, MakesValidTextOfAnyBytes) {
  std::mt19937 random(7);
  for (int round = 0; round < 2000; ++round) {
    std::string bytes(random() % 24, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random() % 3 == 0 ? random() % 256 : 0x80 + random() % 128);
    const std::string valid = validUtf8(bytes);
    EXPECT_EQ(validUtf8(valid), valid) << testing::PrintToString(bytes);
  }
}

TEST(Text, IsMadeOfWhateverAnArgumentMayBe) {
  EXPECT_TRUE(Text().isNull());
  EXPECT_TRUE(Text(nullptr).isNull());
  EXPECT_TRUE(Text(static_cast<const char*>(nullptr)).isNull());
  EXPECT_TRUE(Text(std::nullopt).isNull());
  EXPECT_TRUE(Text(std::optional<std::string>()).isNull());
  EXPECT_EQ(Text("a").value(), Value("a"));
  EXPECT_EQ(Text("a"s).value(), Value("a"));
  EXPECT_EQ(Text(std::string_view("ab").substr(0, 1)).value(), Value("a"));
  EXPECT_EQ(Text(std::optional("a"s)).value(), Value("a"));
  EXPECT_FALSE(Text("").isNull());
  EXPECT_EQ(Text("\xFF").string(), replacement);
  EXPECT_EQ(Text(nullptr).string(), "");
}

TEST(Text, OfAValueIsItsTextOrNothing) {
  EXPECT_EQ(Text::of("a").string(), "a");
  EXPECT_TRUE(Text::of(Value()).isNull());
  EXPECT_TRUE(Text::of(1).isNull());
  EXPECT_TRUE(Text::of(true).isNull());
  EXPECT_TRUE(Text::of(Array({"a"})).isNull());
}

TEST(BoolOfText, IsYesForTheTextsThatThePlatformTakesForYes) {
  for (const std::string_view text : {"Y", "y", "YES", "T", "t", "true", "1", "9", "12", " 1", "\t\n\v\f\r1", "+1",
                                      "-1", "0001", "+00y", " -0t", "1.0", "5x"}) {
    EXPECT_TRUE(boolOfText(text)) << text;
  }
}

TEST(BoolOfText, IsNoForEverythingElse) {
  for (const std::string_view text :
       {"", " ", "0", "000", "no", "NO", "false", "F", "x1", "--1", "+-1", "- 1", ".1", "0.1", "0 1", "ja",
        "\xC2\xA0"
        "1"}) {
    EXPECT_FALSE(boolOfText(text)) << text;
  }
}

TEST(IntegerOfText, ReadsTheIntegerThatBegins) {
  struct Case {
    std::string_view text;
    std::int32_t expected;
  };
  for (const auto& [text, expected] : {
           Case{"90", 90},   Case{" 90", 90},   Case{"\n\t90 ", 90}, Case{"+90", 90}, Case{"-90", -90},
           Case{"90.9", 90}, Case{"90abc", 90}, Case{"0090", 90},    Case{"1e3", 1},  Case{"0x10", 0},
           Case{"", 0},      Case{" ", 0},      Case{"-", 0},        Case{"--1", 0},  Case{"+-1", 0},
           Case{"- 1", 0},   Case{"abc", 0},    Case{"1,000", 1},    Case{"-0", 0},
       }) {
    EXPECT_EQ(integerOfText<std::int32_t>(text), expected) << text;
    EXPECT_EQ(integerOfText<std::int64_t>(text), expected) << text;
  }
}

TEST(IntegerOfText, SaturatesAtTheBoundsOf32Bits) {
  struct Case {
    std::string_view text;
    std::int32_t expected;
  };
  for (const auto& [text, expected] : {
           Case{"2147483646", 2147483646},
           Case{"2147483647", INT32_MAX},
           Case{"2147483648", INT32_MAX},
           Case{"21474836470", INT32_MAX},
           Case{"99999999999999999999999999", INT32_MAX},
           Case{"-2147483647", -2147483647},
           Case{"-2147483648", INT32_MIN},
           Case{"-2147483649", INT32_MIN},
           Case{"-21474836480", INT32_MIN},
           Case{"-99999999999999999999999999", INT32_MIN},
       }) {
    EXPECT_EQ(integerOfText<std::int32_t>(text), expected) << text;
  }
}

TEST(IntegerOfText, SaturatesAtTheBoundsOf64Bits) {
  struct Case {
    std::string_view text;
    std::int64_t expected;
  };
  for (const auto& [text, expected] : {
           Case{"9223372036854775806", INT64_MAX - 1},
           Case{"9223372036854775807", INT64_MAX},
           Case{"9223372036854775808", INT64_MAX},
           Case{"92233720368547758070", INT64_MAX},
           Case{"-9223372036854775807", INT64_MIN + 1},
           Case{"-9223372036854775808", INT64_MIN},
           Case{"-9223372036854775809", INT64_MIN},
           Case{"-92233720368547758080", INT64_MIN},
       }) {
    EXPECT_EQ(integerOfText<std::int64_t>(text), expected) << text;
  }
  EXPECT_EQ(integerOfText<std::int64_t>(std::string(1 << 20, '9')), INT64_MAX);
}

TEST(FloatOfText, ReadsTheNumberThatBegins) {
  struct Case {
    std::string_view text;
    float expected;
  };
  for (const auto& [text, expected] : {
           Case{"7.1", 7.1F},     Case{"7.0.6", 7.0F},    Case{" 9.3", 9.3F},  Case{"\t9.3", 9.3F},
           Case{"10", 10.0F},     Case{"+8", 8.0F},       Case{"-8.5", -8.5F}, Case{".5", 0.5F},
           Case{"5.", 5.0F},      Case{"8.0-beta", 8.0F}, Case{"1e2", 100.0F}, Case{"1e", 1.0F},
           Case{"1e+", 1.0F},     Case{"0x10", 0.0F},     Case{"9,3", 9.0F},   Case{"", 0.0F},
           Case{" ", 0.0F},       Case{".", 0.0F},        Case{"-", 0.0F},     Case{"--8", 0.0F},
           Case{"+-8", 0.0F},     Case{"inf", 0.0F},      Case{"-inf", 0.0F},  Case{"infinity", 0.0F},
           Case{"1e+2", 100.0F},  Case{"1e-2", 0.01F},    Case{"nan", 0.0F},   Case{"nan(1)", 0.0F},
           Case{"iOS 9.3", 0.0F}, Case{"8 .5", 8.0F},
       }) {
    EXPECT_EQ(floatOfText(text), expected) << text;
  }
}

TEST(FloatOfText, KeepsTheThresholdsThatSinglePrecisionDecides) {
  EXPECT_GE(floatOfText("7.1"), 7.0999);
  EXPECT_LT(floatOfText("7.0.6"), 7.0999);
  EXPECT_GE(floatOfText("8.0"), 8.0);
  EXPECT_GE(floatOfText("6.0"), 6.0);
  EXPECT_LT(floatOfText("5.1.1"), 6.0);
}

TEST(FloatOfText, TellsTheHugeFromTheTiny) {
  EXPECT_GT(floatOfText("1e300"), std::numeric_limits<float>::max());
  EXPECT_LT(floatOfText("-1e300"), std::numeric_limits<float>::lowest());
  EXPECT_LT(std::abs(floatOfText("1e-300")), 1e-30F);
  EXPECT_LT(std::abs(floatOfText("-1e-300")), 1e-30F);
  EXPECT_LT(std::abs(floatOfText("0.000000000000000000000000000000000000000000000000000000000000001")), 1e-30F);
  EXPECT_GT(floatOfText(std::string(1000, '9')), std::numeric_limits<float>::max());
}

/// Puts back the process's locale.
class LocaleChange {
 public:
  explicit LocaleChange(const char* name) : changed_(std::setlocale(LC_ALL, name) != nullptr) {}
  ~LocaleChange() { std::setlocale(LC_ALL, "C"); }
  LocaleChange(const LocaleChange&) = delete;
  LocaleChange& operator=(const LocaleChange&) = delete;
  bool changed() const { return changed_; }

 private:
  bool changed_;
};

TEST(Text, NumbersDoNotFollowTheLocale) {
  // Whichever of these the machine has; the last one is always there.
  for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "C.UTF-8", "C"}) {
    const LocaleChange locale(name);
    if (!locale.changed()) continue;
    EXPECT_EQ(floatOfText("7.5"), 7.5F) << name;
    EXPECT_EQ(floatOfText("7,5"), 7.0F) << name;
    EXPECT_EQ(fixedText(1234567.5), "1234567.500000") << name;
    EXPECT_EQ(signedText(1234567), "1234567") << name;
  }
}

TEST(FixedText, HasSixDigitsBehindThePoint) {
  EXPECT_EQ(fixedText(0), "0.000000");
  EXPECT_EQ(fixedText(1.5), "1.500000");
  EXPECT_EQ(fixedText(-2), "-2.000000");
  EXPECT_EQ(fixedText(-0.0), "-0.000000");
  EXPECT_EQ(fixedText(721692800.123456), "721692800.123456");
  EXPECT_EQ(fixedText(0.0000005), "0.000000");  // the double lies below the half
  EXPECT_EQ(fixedText(0.9999999), "1.000000");
  EXPECT_EQ(fixedText(1e22), "10000000000000000000000.000000");
}

TEST(FixedText, HoldsTheLargestNumbers) {
  const std::string most = fixedText(std::numeric_limits<double>::max());
  EXPECT_EQ(most.size(), 309U + 7U);
  EXPECT_EQ(most.substr(0, 17), "17976931348623157");
  EXPECT_EQ(fixedText(std::numeric_limits<double>::lowest()), "-" + most);
}

TEST(SignedText, PrintsWhatLiesAboveTheSignedRangeAsNegative) {
  EXPECT_EQ(signedText(0), "0");
  EXPECT_EQ(signedText(1700000000), "1700000000");
  EXPECT_EQ(signedText(static_cast<std::uint64_t>(INT64_MAX)), "9223372036854775807");
  EXPECT_EQ(signedText(static_cast<std::uint64_t>(INT64_MAX) + 1), "-9223372036854775808");
  EXPECT_EQ(signedText(std::numeric_limits<std::uint64_t>::max()), "-1");
}

TEST(Base64, GivesTheStandardTextBothWays) {
  struct Case {
    std::string bytes;
    std::string_view text;
  };
  for (const auto& [bytes, text] : {
           Case{"", ""},
           Case{"f", "Zg=="},
           Case{"fo", "Zm8="},
           Case{"foo", "Zm9v"},
           Case{"foob", "Zm9vYg=="},
           Case{"fooba", "Zm9vYmE="},
           Case{"foobar", "Zm9vYmFy"},
           Case{"\0"s, "AA=="},
           Case{"\xFF\xFE\xFD"s, "//79"},
           Case{"\xFB\xF0"s, "+/A="},
       }) {
    EXPECT_EQ(base64Text(bytes), text);
    EXPECT_EQ(bytesOfBase64(text), bytes) << text;
  }
}

TEST(Base64, RefusesWhatIsMalformed) {
  for (const std::string& text : {"A"s, "AA"s, "AAA"s, "AA="s, "A==="s, "===="s, "="s, "AA=A"s, "=AAA"s, "AA==AAAA"s,
                                  "Zm9v\n"s, "Zm9v Zm9v"s, "Zm-_"s, "Zm9\xC3"s, "\0AAA"s}) {
    EXPECT_EQ(bytesOfBase64(text), std::nullopt) << text;
  }
}

TEST(Base64, BringsBackAnyBytes) {
  std::mt19937 random(11);
  for (std::size_t size = 0; size < 300; ++size) {
    std::string bytes(size, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random() % 256);
    const std::string text = base64Text(bytes);
    EXPECT_EQ(text.size(), (size + 2) / 3 * 4);
    EXPECT_EQ(text.find_first_of("\r\n"), std::string::npos);
    ASSERT_EQ(bytesOfBase64(text), bytes);
  }
}

}  // namespace
}  // namespace fliprugair
