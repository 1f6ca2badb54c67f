#include <fstream>
#include <random>

#include "platform/sqlite/StorePages.h"
#include "sqlite/StoreFiles.h"

namespace fliprugair {
namespace {

constexpr std::size_t pageBytes = StorePages::pageSize;

/// Those of a file of three hundred pages, each of which is of one letter or another.
class PagesOfAStore : public testing::Test {
 protected:
  PagesOfAStore() {
    for (std::uint32_t number = 1; number <= count; ++number) content_ += expected(number);
    write(content_);
  }

  static std::string expected(std::uint32_t number) {
    return std::to_string(number) +
           std::string(pageBytes - std::to_string(number).size(), static_cast<char>('a' + number % 26));
  }

  void write(const std::string& content) const { std::ofstream(path_, std::ios::binary) << content; }

  static constexpr std::uint32_t count = 300;
  const TemporaryFolder folder_{memory()};
  const std::filesystem::path path_ = folder_ / "store";
  std::string content_;
};

TEST_F(PagesOfAStore, AreTheSameReadForwards) {
  StorePages pages(path_);
  EXPECT_EQ(pages.count(), count);
  for (std::uint32_t number = 1; number <= count; ++number) ASSERT_EQ(pages.page(number), expected(number)) << number;
}

TEST_F(PagesOfAStore, AreTheSameReadBackwards) {
  StorePages pages(path_);
  for (std::uint32_t number = count; number >= 1; --number) ASSERT_EQ(pages.page(number), expected(number)) << number;
}

TEST_F(PagesOfAStore, AreTheSameReadAnyHow) {
  StorePages pages(path_);
  std::mt19937 random(3);
  std::uint32_t number = 1;
  for (int step = 0; step < 3000; ++step) {
    number = random() % 4 == 0 || number == count ? 1 + static_cast<std::uint32_t>(random()) % count : number + 1;
    ASSERT_EQ(pages.page(number), expected(number)) << step;
  }
}

TEST_F(PagesOfAStore, AreNothingWhereThereAreNone) {
  StorePages pages(path_);
  EXPECT_EQ(pages.page(0), "");
  EXPECT_EQ(pages.page(count + 1), "");
  EXPECT_EQ(pages.page(0xFFFFFFFF), "");
  EXPECT_EQ(pages.page(count), expected(count));
}

TEST_F(PagesOfAStore, DoNotCountOneThatIsCutOff) {
  write(content_.substr(0, 2 * pageBytes + 5));
  StorePages pages(path_);
  EXPECT_EQ(pages.count(), 2U);
  EXPECT_EQ(pages.page(2), expected(2));
  EXPECT_EQ(pages.page(3), "");
}

TEST_F(PagesOfAStore, AreNothingWhereTheFileBecameShorter) {
  StorePages pages(path_);
  EXPECT_EQ(pages.page(1), expected(1));
  std::filesystem::resize_file(path_, 4 * pageBytes + 5);
  EXPECT_EQ(pages.page(4), expected(4));
  EXPECT_EQ(pages.page(5), "");
  EXPECT_EQ(pages.page(250), "");
}

TEST_F(PagesOfAStore, BeginWithWhatThereIsOfTheFirst) {
  EXPECT_EQ(StorePages(path_).beginning(), expected(1));
  write(content_.substr(0, 78));
  EXPECT_EQ(StorePages(path_).beginning(), content_.substr(0, 78));
  write("");
  EXPECT_EQ(StorePages(path_).beginning(), "");
}

TEST_F(PagesOfAStore, AreNoneWithoutAFile) {
  StorePages pages(folder_ / "absent");
  EXPECT_EQ(pages.count(), 0U);
  EXPECT_EQ(pages.page(1), "");
  EXPECT_EQ(pages.beginning(), "");
}

TEST(PagesOfALog, StandInThePlaceOfTheFilesAndBehindThem) {
  const TemporaryFolder folder(memory());
  const auto path = folder / "store";
  RowFile file(path, StoreDurability::process);
  file.write({Row{1, 0, 1, "key", std::string(3 * pageBytes, 'x')}}, {});
  ASSERT_TRUE(file.emptyLog(RowFile::LogRoom::givenBack));
  const std::string before = contentOf(path);
  file.write({Row{1, 0, 1, "key", std::string(9 * pageBytes, 'y')}}, {});
  const std::string logBytes = contentOf(path.string() + "-wal");
  const LogImage log(logBytes);
  StorePages pages(path);
  EXPECT_EQ(contentOf(path), before);
  const auto ofFile = static_cast<std::uint32_t>(before.size() / pageBytes);
  ASSERT_GT(log.pages().rbegin()->first, ofFile);
  std::vector<std::uint32_t> visited;
  pages.forEach([&](std::uint32_t number) { visited.push_back(number); });
  EXPECT_EQ(visited.size(), pages.count());
  EXPECT_TRUE(std::ranges::is_sorted(visited));
  EXPECT_EQ(visited.back(), log.pages().rbegin()->first);
  std::size_t fromFile = 0;
  for (const std::uint32_t number : visited) {
    const auto logged = log.pages().find(number);
    if (logged != log.pages().end()) {
      EXPECT_EQ(pages.page(number), logged->second) << number;
    } else {
      EXPECT_EQ(pages.page(number), before.substr((number - 1) * pageBytes, pageBytes)) << number;
      ++fromFile;
    }
  }
  EXPECT_GT(fromFile, 0U);
  EXPECT_EQ(pages.page(visited.back() + 1), "");
}

}  // namespace
}  // namespace fliprugair
