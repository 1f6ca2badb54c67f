#include <gtest/gtest.h>

#include "platform/plist/KeyedArchive.h"
#include "platform/plist/PlistShape.h"
#include "plist/Archives.h"

namespace fliprugair {
namespace {

using test::bigEndian;
using test::RawPlist;

std::string repeated(std::string_view text, std::size_t count) {
  std::string result;
  for (std::size_t index = 0; index < count; ++index) result += text;
  return result;
}

std::string inPlist(const std::string& content) { return "<plist version=\"1.0\">" + content + "</plist>"; }

/// `bytes` with `number` in the eight bytes at `place`, counted from the end.
std::string replaced(std::string bytes, std::size_t place, std::uint64_t number) {
  return bytes.replace(bytes.size() - place, 8, bigEndian(number, 8));
}

/// The shape's answer. The whole reader is asked too: it must come back, whatever the bytes.
bool isBoundedBinary(const std::string& bytes) {
  EXPECT_FALSE(isReadableKeyedArchive(bytes));
  return isBoundedBinaryPlist(bytes);
}

bool isBoundedXML(const std::string& text) {
  EXPECT_FALSE(isReadableKeyedArchive(text));
  return isBoundedXMLPlist(text);
}

/// An array of references to one object, so many times.
std::string arrayOf(std::uint64_t object, std::size_t count, std::size_t referenceSize = 1) {
  return "\xAF\x12" + bigEndian(count, 4) + repeated(bigEndian(object, referenceSize), count);
}

TEST(BinaryPlistShape, EveryKindOfValueIsKnown) {
  const std::vector<std::string> values{
      "\x08",
      "\x09",
      "\x10\x01",
      std::string("\x11\0\1", 3),
      "\x12" + bigEndian(1, 4),
      "\x13" + bigEndian(1, 8),
      "\x14" + bigEndian(1, 16),
      "\x22" + bigEndian(0, 4),
      "\x23" + bigEndian(0, 8),
      "\x33" + bigEndian(0, 8),
      std::string("\x42\0\1", 3),
      "\x53"
      "abc",
      std::string("\x62\0a\0b", 5),
      std::string("\x80\0", 2),
      "\x83" + bigEndian(1, 4),
      "\x87" + bigEndian(1, 8),
      "\xA0",
      "\xD0",
      "\x5F\x10\x03"
      "abc",
  };
  for (const auto& value : values) {
    EXPECT_TRUE(isBoundedBinary(RawPlist{{value}}.bytes())) << testing::PrintToString(value);
    EXPECT_FALSE(isBoundedBinary(RawPlist{{value.substr(0, value.size() - 1)}}.bytes()))
        << testing::PrintToString(value);
  }
}

TEST(BinaryPlistShape, MalformedValuesAreRefused) {
  const std::vector<std::string> values{
      std::string("\0", 1),
      "\x01",
      "\x0F",
      "\x15" + bigEndian(0, 32),
      "\x20" + bigEndian(0, 1),
      "\x24" + bigEndian(0, 16),
      "\x32" + bigEndian(0, 4),
      "\x88" + bigEndian(0, 9),
      "\x8F" + bigEndian(0, 16),
      "\x70",
      "\x90",
      "\xB0",
      "\xC0",
      "\xE0",
      "\xF0",
      "\x5F",
      "\x5F\x20\x01z",
      "\x5F\x14" + bigEndian(1, 16) + "z",
      "\x5F\x13" + bigEndian(std::uint64_t{1} << 63, 8),
      "\x6F\x13" + bigEndian(std::uint64_t{1} << 63, 8),
      "\xAF\x13" + bigEndian(~std::uint64_t{0}, 8),
      "\xDF\x13" + bigEndian(std::uint64_t{1} << 63, 8),
  };
  for (const auto& value : values) {
    EXPECT_FALSE(isBoundedBinary(RawPlist{{value}}.bytes())) << testing::PrintToString(value);
  }
}

TEST(BinaryPlistShape, TablesThatPointAnywhereAreRefused) {
  const std::string fits = RawPlist{{"\xA1\x01", "\x08"}}.bytes();
  ASSERT_TRUE(isBoundedBinary(fits));
  const auto size = fits.size();
  for (const std::uint64_t anywhere :
       {std::uint64_t{0}, std::uint64_t{7}, std::uint64_t{size - 31}, std::uint64_t{size}, std::uint64_t{size} + 1000,
        std::uint64_t{1} << 31, std::uint64_t{1} << 32, std::uint64_t{1} << 63, ~std::uint64_t{0}}) {
    EXPECT_FALSE(isBoundedBinary(replaced(fits, 8, anywhere))) << "table " << anywhere;
    EXPECT_FALSE(isBoundedBinary(replaced(fits, 16, anywhere | 2))) << "root " << (anywhere | 2);
    EXPECT_FALSE(isBoundedBinary(replaced(fits, 24, anywhere))) << "objects " << anywhere;
  }
  for (const unsigned width : {0U, 9U, 16U, 255U}) {
    std::string changed = fits;
    changed[size - 26] = static_cast<char>(width);
    EXPECT_FALSE(isBoundedBinary(changed)) << "offsets of " << width;
    changed = fits;
    changed[size - 25] = static_cast<char>(width);
    EXPECT_FALSE(isBoundedBinary(changed)) << "references of " << width;
  }
}

TEST(BinaryPlistShape, ObjectsAreCountedAsTheTableHasThem) {
  const std::string fits = RawPlist{{"\xA1\x01", "\x08"}}.bytes();
  EXPECT_FALSE(isBoundedBinary(replaced(fits, 24, 0))) << "no objects";
  EXPECT_FALSE(isBoundedBinary(replaced(fits, 24, 1))) << "a reference beyond the last object";
  EXPECT_FALSE(isBoundedBinary(replaced(fits, 24, 3))) << "an object more than the table holds";
  EXPECT_TRUE(isBoundedBinary(replaced(fits, 16, 1))) << "the last object as the root";
  EXPECT_FALSE(isBoundedBinary(replaced(fits, 16, 2))) << "a root beyond the last object";
  EXPECT_FALSE(isBoundedBinary(replaced(fits, 8, fits.size() - 32))) << "a table of no bytes";
}

TEST(BinaryPlistShape, AFileShorterThanHeadTableAndTailIsRefused) {
  const std::string fits = RawPlist{{"\x08"}}.bytes();
  ASSERT_TRUE(isBoundedBinary(fits));
  for (std::size_t length = 0; length < fits.size(); ++length) {
    EXPECT_FALSE(isBoundedBinary(fits.substr(0, length))) << length;
    EXPECT_FALSE(isBoundedBinary(fits.substr(fits.size() - length))) << length;
  }
}

TEST(BinaryPlistShape, AFileMayHaveAsManyBytesAsTheBoundSays) {
  const auto ofSize = [](std::size_t size) {
    RawPlist plist{{"\x4F\x12" + bigEndian(0, 4)}};
    const std::size_t content = size - plist.bytes().size();
    plist.objects.front() = "\x4F\x12" + bigEndian(content, 4) + std::string(content, 'x');
    return plist.bytes();
  };
  ASSERT_EQ(ofSize(PlistBounds::bytes).size(), PlistBounds::bytes);
  EXPECT_TRUE(isBoundedBinary(ofSize(PlistBounds::bytes)));
  EXPECT_FALSE(isBoundedBinary(ofSize(PlistBounds::bytes + 1)));
}

TEST(BinaryPlistShape, TextOfTwoBytesALetterCountsTwice) {
  const std::size_t letters = std::size_t{1} << 19;
  const std::string large = "\x6F\x12" + bigEndian(letters, 4) + std::string(2 * letters, 'x');
  EXPECT_TRUE(isBoundedBinary(RawPlist{{arrayOf(1, PlistBounds::payload / letters / 2), large}}.bytes()));
  EXPECT_FALSE(isBoundedBinary(RawPlist{{arrayOf(1, PlistBounds::payload / letters / 2 + 1), large}}.bytes()));
  EXPECT_FALSE(
      isBoundedBinary(RawPlist{{"\x6F\x12" + bigEndian(letters + 1, 4) + std::string(2 * letters, 'x')}}.bytes()));
}

TEST(BinaryPlistShape, AContainerMayEndWhereTheTableBegins) {
  const auto list = [](std::size_t count, std::size_t given) {
    return RawPlist{{"\x08", "\xAF\x10" + bigEndian(count, 1) + std::string(given, '\0')}, 1}.bytes();
  };
  EXPECT_TRUE(isBoundedBinary(list(20, 20)));
  EXPECT_FALSE(isBoundedBinary(list(21, 20)));
  const auto dictionary = [](std::size_t count, std::size_t given) {
    return RawPlist{{"\x51k", "\xDF\x10" + bigEndian(count, 1) + std::string(given, '\0')}, 1}.bytes();
  };
  EXPECT_TRUE(isBoundedBinary(dictionary(20, 40)));
  EXPECT_FALSE(isBoundedBinary(dictionary(20, 39)));
}

TEST(BinaryPlistShape, OffsetsOutsideTheObjectsAreRefused) {
  const std::string fits = RawPlist{{"\xA1\x01", "\x08"}}.bytes();
  const auto table = fits.size() - 32 - 8;
  for (const std::uint64_t offset : {0U, 7U, 11U, 12U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    std::string changed = fits;
    changed.replace(table + 4, 4, bigEndian(offset, 4));
    EXPECT_FALSE(isBoundedBinary(changed)) << offset;
  }
}

TEST(BinaryPlistShape, OffsetsAndReferencesOfEveryWidthAreFollowed) {
  for (unsigned width = 1; width <= 8; ++width) {
    RawPlist plist{{"\xA1" + bigEndian(1, width), "\x08"}};
    plist.offsetSize = plist.referenceSize = width;
    EXPECT_TRUE(isBoundedBinary(plist.bytes())) << width;
    plist.objects.front() = "\xA1" + bigEndian(2, width);
    EXPECT_FALSE(isBoundedBinary(plist.bytes())) << width;
  }
}

TEST(BinaryPlistShape, AContainerInsideItselfIsRefused) {
  EXPECT_FALSE(isBoundedBinary(RawPlist{{std::string("\xA1\0", 2)}}.bytes()));
  EXPECT_FALSE(isBoundedBinary(RawPlist{{"\xA1\x01", std::string("\xD1\x02\0", 3), "\x51k"}}.bytes()));
}

TEST(BinaryPlistShape, DeepNestingIsRefused) {
  const auto nested = [](std::size_t depth) {
    RawPlist plist;
    plist.referenceSize = 2;
    for (std::size_t level = 1; level <= depth; ++level) plist.objects.push_back("\xA1" + bigEndian(level, 2));
    plist.objects.emplace_back("\x08");
    return plist.bytes();
  };
  EXPECT_TRUE(isBoundedBinary(nested(PlistBounds::depth)));
  EXPECT_FALSE(isBoundedBinary(nested(PlistBounds::depth + 1)));
  EXPECT_FALSE(isBoundedBinary(nested(60000)));
}

TEST(BinaryPlistShape, SharingThatExplodesIsRefused) {
  RawPlist plist;
  for (char level = 1; level <= 40; ++level) plist.objects.push_back({'\xA2', level, level});
  plist.objects.emplace_back("\x08");
  EXPECT_FALSE(isBoundedBinary(plist.bytes()));
}

TEST(BinaryPlistShape, ATreeOfTooManyValuesIsRefused) {
  EXPECT_TRUE(isBoundedBinary(RawPlist{{arrayOf(1, PlistBounds::values - 1), "\x08"}}.bytes()));
  EXPECT_FALSE(isBoundedBinary(RawPlist{{arrayOf(1, PlistBounds::values), "\x08"}}.bytes()));
}

TEST(BinaryPlistShape, ATreeOfTooMuchTextIsRefused) {
  const std::size_t size = std::size_t{1} << 20;
  for (const char marker : {'\x4F', '\x5F'}) {
    const std::string large = std::string(1, marker) + "\x12" + bigEndian(size, 4) + std::string(size, 'x');
    EXPECT_TRUE(isBoundedBinary(RawPlist{{arrayOf(1, PlistBounds::payload / size), large}}.bytes()));
    EXPECT_FALSE(isBoundedBinary(RawPlist{{arrayOf(1, PlistBounds::payload / size + 1), large}}.bytes()));
  }
}

TEST(BinaryPlistShape, ADictionaryMayHaveManyKeys) {
  const auto dictionary = [](std::size_t keys) {
    return RawPlist{
        {"\xDF\x12" + bigEndian(keys, 4) + repeated("\x01", keys) + repeated("\x02", keys), "\x51k", "\x08"}}
        .bytes();
  };
  EXPECT_TRUE(isBoundedBinary(dictionary(100000)));
  EXPECT_FALSE(isBoundedBinary(dictionary(PlistBounds::values)));
}

TEST(BinaryPlistShape, AKeyThatIsNoTextIsRefused) {
  EXPECT_TRUE(isBoundedBinary(RawPlist{{"\xD1\x01\x02", "\x51k", "\x08"}}.bytes()));
  EXPECT_FALSE(isBoundedBinary(RawPlist{{"\xD1\x02\x01", "\x51k", "\x08"}}.bytes()));
}

TEST(XMLPlistShape, WhatPropertyListsAreWrittenLikeIsAccepted) {
  const std::string heading =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
      "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n";
  for (const std::string content :
       {"<dict/>", "<dict />", "<dict></dict>", "<dict ></dict >", "<array><string>a &amp; b</string></array>",
        "<true/>", "<dict><key>k</key><integer>-1</integer><key>r</key><real>1.5</real></dict>",
        "<!-- <array> --><array/>",
        "<array><string><![CDATA[<array>]]></string><date>2026-01-01T00:00:00Z</date><data>QUJD</data></array>"}) {
    EXPECT_TRUE(isBoundedXML(heading + inPlist(content) + "\n")) << content;
    EXPECT_TRUE(isBoundedXML(inPlist(content))) << content;
  }
}

TEST(XMLPlistShape, WhatIsNotWellFormedIsRefused) {
  for (const std::string content : {"<dict>",
                                    "</dict>",
                                    "<array></dict>",
                                    "<array><dict></array></dict>",
                                    "<>",
                                    "</>",
                                    "<dict//>",
                                    "<dict></dict/>",
                                    "<dict a=\"b\"/>",
                                    "<set/>",
                                    "<plist><dict/></plist>",
                                    "<dict/><dict/>",
                                    "<string><string/></string>",
                                    "<true><array/></true>",
                                    "<!-- >",
                                    "<![CDATA[ >",
                                    "<!ELEMENT a>",
                                    "<?php ?>",
                                    "<?xml version=\"1.0\"?>",
                                    "<!DOCTYPE plist>",
                                    "<dict"}) {
    EXPECT_FALSE(isBoundedXML(inPlist(content))) << content;
  }
  for (const std::string text : {"<dict/>", "<plist/>", "<plist><dict/>", "</plist>", "<plist a=\"><dict/></plist>",
                                 "<plist><dict/></plist><plist><dict/></plist>", "<plist <dict/></plist>"}) {
    EXPECT_FALSE(isBoundedXML(text)) << text;
  }
  EXPECT_FALSE(isBoundedXML(inPlist(std::string("<string>a\0b</string>", 20))));
}

TEST(XMLPlistShape, DeclarationsOfEntitiesAreRefused) {
  const std::string laughs =
      "<!DOCTYPE plist [<!ENTITY a \"ha\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;\"><!ENTITY c \"&b;&b;&b;&b;&b;&b;\">]>";
  EXPECT_FALSE(isBoundedXML(laughs + inPlist("<string>&c;</string>")));
  EXPECT_FALSE(isBoundedXML("<!DOCTYPE plist [ ]>" + inPlist("<dict/>")));
  EXPECT_FALSE(isBoundedXML("<!ENTITY a \"b\">" + inPlist("<dict/>")));
}

TEST(XMLPlistShape, QuotesCannotHideWhatLibplistSees) {
  const std::string deep = repeated("<array>", 1000);
  EXPECT_FALSE(isBoundedXML("<?xml \"?><!-- \"?><plist>" + deep + " -->" + inPlist("<dict/>")));
  EXPECT_FALSE(isBoundedXML("<!DOCTYPE plist \"><!-- \"><plist>" + deep + " -->" + inPlist("<dict/>")));
  EXPECT_FALSE(isBoundedXML("<plist a=\"><!-- \">" + deep + " --><dict/></plist>"));
}

TEST(XMLPlistShape, DeepNestingIsRefused) {
  const auto nested = [](std::size_t depth) {
    return inPlist(repeated("<array>", depth) + repeated("</array>", depth));
  };
  EXPECT_TRUE(isBoundedXML(nested(PlistBounds::depth - 1)));
  EXPECT_FALSE(isBoundedXML(nested(PlistBounds::depth)));
  EXPECT_FALSE(isBoundedXML(nested(1000000)));
  EXPECT_FALSE(isBoundedXML("<plist>" + repeated("<array>", 1000000)));
}

TEST(XMLPlistShape, TooManyValuesAreRefused) {
  EXPECT_TRUE(isBoundedXMLPlist(inPlist("<array>" + repeated("<true/>", PlistBounds::values - 1) + "</array>")));
  EXPECT_FALSE(isBoundedXMLPlist(inPlist("<array>" + repeated("<true/>", PlistBounds::values) + "</array>")));
}

TEST(XMLPlistShape, ADictionaryMayHaveManyKeys) {
  const auto dictionary = [](std::size_t keys) {
    return inPlist("<dict>" + repeated("<key>k</key><true/>", keys) + "</dict>");
  };
  EXPECT_TRUE(isBoundedXML(dictionary(100000)));
  EXPECT_FALSE(isBoundedXML(dictionary(PlistBounds::values)));
}

TEST(XMLPlistShape, EntitiesThatWouldKeepTheProcessorBusyAreRefused) {
  EXPECT_TRUE(isBoundedXML(inPlist("<string>" + repeated("&amp;", 1000) + "</string>")));
  EXPECT_FALSE(isBoundedXML(inPlist("<string>" + repeated("&amp;", 1000000) + "</string>")));
  EXPECT_TRUE(isBoundedXML(inPlist("<array>" + repeated("<string>&amp;</string>", 10000) + "</array>")));
}

}  // namespace
}  // namespace fliprugair
