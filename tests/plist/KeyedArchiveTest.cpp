#include <gtest/gtest.h>

#include "platform/plist/KeyedArchive.h"
#include "plist/Archives.h"

namespace fliprugair {
namespace {

using test::Archive;
using test::Tree;

/// The verdict on `archive` in both forms, which must not differ.
testing::AssertionResult isReadable(const Tree& archive) {
  const bool asBinary = isReadableKeyedArchive(archive.binary());
  const bool asXML = isReadableKeyedArchive(archive.xml());
  if (asBinary != asXML) ADD_FAILURE() << "binary " << asBinary << ", XML " << asXML;
  return asBinary ? testing::AssertionSuccess() << "readable" : testing::AssertionFailure() << "absent";
}

Tree object(std::uint64_t classIndex) { return Tree::dictionary().with("$class", Tree::reference(classIndex)); }

/// An archive whose root is an object of the class that `description` describes.
Tree archiveOfClass(Tree description) {
  Archive archive;
  const auto described = archive.add(std::move(description));
  const auto root = archive.add(object(described));
  return archive.finish(root);
}

TEST(KeyedArchive, AnArchiveOfEveryKindOfValueIsReadable) { EXPECT_TRUE(isReadable(test::personArchive())); }

TEST(KeyedArchive, TheRootMayBeAnyKindOfValue) {
  std::vector<Tree> values;
  values.push_back(Tree::text("a text"));
  values.push_back(Tree::text(""));
  values.push_back(Tree::number(0));
  values.push_back(Tree::real(-1.5));
  values.push_back(Tree::truth(false));
  values.push_back(Tree::data("bytes"));
  values.push_back(Tree::date(1));
  for (auto& value : values) {
    Archive archive;
    const auto root = archive.add(std::move(value));
    EXPECT_TRUE(isReadable(archive.finish(root)));
  }
}

TEST(KeyedArchive, ARootThatIsNilIsAbsent) {
  EXPECT_FALSE(isReadable(Archive().finish(0)));
  Archive archive;
  const auto root = archive.add(Tree::text("$null"));
  EXPECT_FALSE(isReadable(archive.finish(root)));
}

TEST(KeyedArchive, WithoutEachOfItsPartsAnArchiveIsAbsent) {
  for (const char* part : {"$archiver", "$version", "$top", "$objects"}) {
    EXPECT_FALSE(isReadable(test::textArchive().without(part))) << part;
  }
  EXPECT_FALSE(isReadable(test::textArchive().with("$top", Tree::dictionary())));
}

TEST(KeyedArchive, WithAPartOfAnotherKindAnArchiveIsAbsent) {
  EXPECT_FALSE(isReadable(test::textArchive().with("$archiver", Tree::text("NSArchiver"))));
  EXPECT_FALSE(isReadable(test::textArchive().with("$archiver", Tree::number(1))));
  EXPECT_FALSE(isReadable(test::textArchive().with("$version", Tree::number(99999))));
  EXPECT_FALSE(isReadable(test::textArchive().with("$version", Tree::text("100000"))));
  EXPECT_FALSE(isReadable(test::textArchive().with("$objects", Tree::dictionary())));
  EXPECT_FALSE(isReadable(test::textArchive().with("$objects", Tree::array())));
  EXPECT_FALSE(isReadable(test::textArchive().with("$top", Tree::reference(1))));
  EXPECT_FALSE(isReadable(test::textArchive().with("$top", Tree::dictionary().with("root", Tree::number(1)))));
  EXPECT_FALSE(isReadable(test::textArchive().with("$top", Tree::dictionary().with("other", Tree::reference(1)))));
}

TEST(KeyedArchive, AReferenceToNowhereIsAbsent) {
  EXPECT_FALSE(isReadable(test::textArchive().with("$top", Tree::dictionary().with("root", Tree::reference(2)))));
  for (const std::uint64_t nowhere : {std::uint64_t{4}, std::uint64_t{0xFFFFFFFF}}) {
    Archive archive;
    const auto list = archive.addClass({"NSArray", "NSObject"});
    const auto inner = archive.addCollection(list, {nowhere});
    const auto outer = archive.addCollection(list, {0, inner});
    EXPECT_FALSE(isReadable(archive.finish(outer)));
  }
}

TEST(KeyedArchive, WhatTheRootDoesNotLeadToDoesNotMatter) {
  Archive archive;
  archive.add(object(77));
  const auto root = archive.add(Tree::text("a text"));
  EXPECT_TRUE(isReadable(archive.finish(root)));
}

TEST(KeyedArchive, AnObjectNeedsADescribedClass) {
  Archive withoutClass;
  const auto root = withoutClass.add(Tree::dictionary().with("name", Tree::reference(0)));
  EXPECT_FALSE(isReadable(withoutClass.finish(root)));

  const auto name = [] { return Tree::text("Person"); };
  EXPECT_TRUE(isReadable(archiveOfClass(Tree::dictionary().with("$classname", name()))));
  EXPECT_FALSE(isReadable(archiveOfClass(Tree::text("Person"))));
  EXPECT_FALSE(isReadable(archiveOfClass(Tree::dictionary())));
  EXPECT_FALSE(isReadable(archiveOfClass(Tree::dictionary().with("$classname", Tree::number(1)))));
  EXPECT_FALSE(isReadable(archiveOfClass(Tree::dictionary().with("$classname", Tree::text("")))));
  EXPECT_FALSE(isReadable(archiveOfClass(Tree::dictionary().with("$classname", name()).with("$classes", name()))));
  EXPECT_FALSE(isReadable(archiveOfClass(
      Tree::dictionary().with("$classname", name()).with("$classes", Tree::array().with(Tree::number(1))))));
}

TEST(KeyedArchive, AChainOfClassesIsAbsent) {
  Archive itself;
  const auto own = itself.add(object(1).with("$classname", Tree::text("Person")));
  EXPECT_FALSE(isReadable(itself.finish(own)));
  EXPECT_FALSE(isReadable(archiveOfClass(object(2).with("$classname", Tree::text("Person")))));
}

TEST(KeyedArchive, AnArrayOrAReferenceAmongTheObjectsIsAbsent) {
  Archive array;
  const auto list = array.add(Tree::array());
  EXPECT_FALSE(isReadable(array.finish(list)));
  Archive reference;
  const auto link = reference.add(Tree::reference(0));
  EXPECT_FALSE(isReadable(reference.finish(link)));
}

TEST(KeyedArchive, ObjectsMayLeadBackToOneAnother) {
  Archive archive;
  const auto person = archive.addClass({"Person", "NSObject"});
  const auto list = archive.addClass({"NSMutableArray", "NSArray", "NSObject"});
  const auto children = archive.addCollection(list, {4, 4});
  const auto parent =
      archive.add(object(person).with("children", Tree::reference(children)).with("parent", Tree::reference(4)));
  ASSERT_EQ(parent, 4U);
  EXPECT_TRUE(isReadable(archive.finish(parent)));
}

TEST(KeyedArchive, ACollectionMayHoldAnotherTwice) {
  Archive archive;
  const auto list = archive.addClass({"NSArray", "NSObject"});
  const auto inner = archive.addCollection(list, {0});
  const auto middle = archive.addCollection(list, {inner, inner});
  const auto outer = archive.addCollection(list, {middle, inner, middle});
  EXPECT_TRUE(isReadable(archive.finish(outer)));
}

TEST(KeyedArchive, ACollectionInsideItselfIsAbsent) {
  for (const char* name : {"NSArray", "NSDictionary", "NSSet", "NSOrderedSet"}) {
    Archive itself;
    const auto own = itself.addClass({"Collection", name, "NSObject"});
    const auto root = itself.addCollection(own, {0, 2});
    ASSERT_EQ(root, 2U);
    EXPECT_FALSE(isReadable(itself.finish(root))) << name;
  }
  Archive around;
  const auto list = around.addClass({"NSArray", "NSObject"});
  const auto inner = around.addCollection(list, {4});
  const auto middle = around.addCollection(list, {inner});
  const auto outer = around.addCollection(list, {middle});
  ASSERT_EQ(outer, 4U);
  const auto root = around.addCollection(list, {outer});
  EXPECT_FALSE(isReadable(around.finish(root)));
}

TEST(KeyedArchive, AListOfManyObjectsIsReadable) {
  Archive archive;
  const auto list = archive.addClass({"NSArray", "NSObject"});
  const auto node = archive.addClass({"Node", "NSObject"});
  constexpr std::uint64_t count = 20000;
  std::vector<std::uint64_t> items;
  for (std::uint64_t index = 0; index < count; ++index) {
    items.push_back(archive.add(object(node).with("next", Tree::reference(index + 1 < count ? index + 4 : 0))));
  }
  EXPECT_TRUE(isReadable(archive.finish(archive.addCollection(list, items))));
}

TEST(KeyedArchive, AnXMLTextMayBeginWithAByteOrderMarkAndBlanks) {
  const std::string xml = test::personArchive().xml();
  for (const char* heading : {"\xEF\xBB\xBF", "\n \t\r\n", "\xEF\xBB\xBF\n"}) {
    EXPECT_TRUE(isReadableKeyedArchive(heading + xml));
  }
  EXPECT_FALSE(isReadableKeyedArchive("\xEF\xBB" + xml));
  EXPECT_FALSE(isReadableKeyedArchive("\xEF\xBB\xBF"));
  EXPECT_FALSE(isReadableKeyedArchive(" \n"));
}

TEST(KeyedArchive, WhatIsNoArchiveIsAbsent) {
  EXPECT_FALSE(isReadable(Tree::dictionary().with("key", Tree::text("value"))));
  EXPECT_FALSE(isReadable(Tree::array().with(Tree::text("$archiver"))));
  EXPECT_FALSE(isReadable(Tree::text("NSKeyedArchiver")));
  for (const std::string text : {"", "bplist00", "plain text", "{\"$archiver\":\"NSKeyedArchiver\"}", "<", "<plist",
                                 "<plist></plist>", "<plist version=\"1.0\"/>", "<html><body/></html>"}) {
    EXPECT_FALSE(isReadableKeyedArchive(text)) << text;
  }
}

TEST(KeyedArchive, WellFormedXMLThatIsNoPropertyListIsAbsent) {
  for (const std::string content : {"<dict><key>k</key></dict>",
                                    "<dict><true/></dict>",
                                    "<dict><key>k</key><key>l</key><true/></dict>",
                                    "<dict>text</dict>",
                                    "<array>text<true/></array>",
                                    "<array><key>k</key></array>",
                                    "<string>&none;</string>",
                                    "<string>&amp</string>",
                                    "<string>&;</string>",
                                    "<string>&#0;</string>",
                                    "<integer>&amp;</integer>",
                                    "<integer/>",
                                    "<real>x</real>",
                                    "<date>yesterday</date>",
                                    "<date/>",
                                    "<data>****</data>",
                                    "<true>x</true>",
                                    "<key>k</key>",
                                    "<string>a<!-- b -->c</string>",
                                    "<integer><!-- 1 -->2</integer>"}) {
    EXPECT_FALSE(isReadableKeyedArchive("<plist version=\"1.0\">" + content + "</plist>")) << content;
    EXPECT_FALSE(isReadableKeyedArchive("<plist version=\"1.0\"><array>" + content + "</array></plist>")) << content;
  }
}

TEST(KeyedArchive, CutOffAnywhereAnArchiveIsAbsent) {
  const std::string binary = test::personArchive().binary();
  for (std::size_t length = 0; length < binary.size(); ++length) {
    EXPECT_FALSE(isReadableKeyedArchive(binary.substr(0, length))) << length << " of " << binary.size();
  }
  const std::string xml = test::personArchive().xml();
  const std::size_t end = xml.rfind('>');
  ASSERT_NE(end, std::string::npos);
  for (std::size_t length = 0; length <= end; ++length) {
    EXPECT_FALSE(isReadableKeyedArchive(xml.substr(0, length))) << length << " of " << xml.size();
  }
}

TEST(KeyedArchive, WithAnyByteChangedAnArchiveIsAnswered) {
  for (const std::string& archive : {test::personArchive().binary(), test::personArchive().xml()}) {
    std::size_t readable = 0;
    for (std::size_t place = 0; place < archive.size(); ++place) {
      for (const char change : {'\x01', '\x80', '\xFF'}) {
        std::string changed = archive;
        changed[place] = static_cast<char>(changed[place] ^ change);
        readable += isReadableKeyedArchive(changed);
      }
    }
    // Most of the bytes are text, which is as good when changed.
    EXPECT_GT(readable, 0U);
    EXPECT_LT(readable, 3 * archive.size());
  }
}

}  // namespace
}  // namespace fliprugair
