#include "platform/sqlite/RowFile.h"
#include "platform/sqlite/RowImage.h"
#include "sqlite/StoreFiles.h"

namespace fliprugair {
namespace {

constexpr const char* tableOfTheFirstFormat =
    "PRAGMA page_size = 2048;"
    "CREATE TABLE rows (id INTEGER PRIMARY KEY, parent INTEGER NOT NULL, position INTEGER NOT NULL,"
    " name TEXT NOT NULL, value TEXT NOT NULL);";

TEST(ARowImage, HasNoRowWhoseColumnsAreOfAnotherType) {
  const TemporaryFolder folder(memory());
  const auto path = folder / "store";
  execute(path, tableOfTheFirstFormat);
  execute(path,
          "INSERT INTO rows VALUES (1, 0, 1, 'key', '\"whole\"'), (2, '', 1, 'key', '1'), (3, 0, '', 'key', '1'),"
          " (4, 0, 1, x'6B6579', '\"1\"'), (5, 0, 1, 'key', x'226162227A'), (6, 0.5, 1, 'key', '1')");
  RowImage image(path);
  const auto rows = image.rows(true);
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows.front().value, Value("whole"));
  EXPECT_EQ(image.damagedRows(), 5U);
}

/// The name of a row for which the last byte of the checksum is 0, as the bytes behind an end are.
std::string nameWithARoundChecksum() {
  Row row{1, 0, 1, "key", {}};
  for (int number = 0; (row.checksum("1") & 0xFF) != 0; ++number) row.name = "key" + std::to_string(number);
  return row.name;
}

TEST(ARowImage, HasNoRowWhoseEndIsMissing) {
  const TemporaryFolder folder(memory());
  const auto path = folder / "store";
  const std::string name = nameWithARoundChecksum();
  {
    RowFile file(path, StoreDurability::process);
    file.write({Row{1, 0, 1, name, 1}}, {});
    EXPECT_TRUE(file.emptyLog(RowFile::LogRoom::givenBack));
  }
  EXPECT_EQ(RowImage(path).rows(false).size(), 1U);
  const std::string content = contentOf(path);
  // In front of the name stand the length of the row, its number, and seven bytes that tell the types of its columns.
  const std::size_t length = content.find(name) - 9;
  overwrite(path, length, std::string(1, static_cast<char>(content[length] - 1)));
  RowImage image(path);
  EXPECT_TRUE(image.rows(false).empty());
  EXPECT_EQ(image.damagedRows(), 1U);
}

}  // namespace
}  // namespace fliprugair
