#include "platform/sqlite/BigEndian.h"
#include "platform/sqlite/RowCells.h"
#include "platform/sqlite/RowFile.h"
#include "platform/sqlite/RowImage.h"
#include "platform/sqlite/SQLiteFormat.h"
#include "sqlite/StoreFiles.h"

namespace fliprugair {
namespace {

/// Of a store with one row, which is longer than a page.
class CellsOfALongRow : public testing::Test {
 protected:
  CellsOfALongRow() {
    RowFile file(path_, StoreDurability::process);
    file.write({row_}, {});
    EXPECT_TRUE(file.emptyLog(RowFile::LogRoom::givenBack));
  }

  /// Of the row; the first page that it goes on in stands behind what the leaf has of it.
  std::size_t placeOfNext() const {
    const std::string bytes = contentOf(path_);
    const std::size_t leafPlace = (leaf - 1) * std::size_t{RowFile::pageSize};
    return leafPlace + RowFile::pageSize - 4;
  }

  static constexpr std::uint32_t leaf = 3;
  const TemporaryFolder folder_{memory()};
  const std::filesystem::path path_ = folder_ / "store";
  const Row row_{7, 0, 8, "name", std::string(7000, 'x')};
};

TEST_F(CellsOfALongRow, GiveAllOfItAndThePagesThatItTakes) {
  StorePages pages(path_);
  RowCells cells(pages);
  const auto places = RowCells::placesIn(pages.page(leaf));
  ASSERT_EQ(places.size(), 1U);
  const auto record = cells.record(leaf, places.front());
  ASSERT_TRUE(record);
  const auto row = RowCells::row(*record);
  ASSERT_TRUE(row);
  EXPECT_EQ(row->id, 7);
  EXPECT_EQ(row->parent, 0);
  EXPECT_EQ(row->position, 8);
  EXPECT_EQ(row->name, "name");
  EXPECT_EQ(row->text, '"' + std::string(7000, 'x') + '"');
  EXPECT_TRUE(row->isChecked);
  const std::size_t checksum = 8;  // bytes
  EXPECT_EQ(record->bytes.size() - record->bytes.find('"'), row->text.size() + checksum) << "nothing is behind it";
  EXPECT_TRUE(cells.overflowEnds());
  EXPECT_EQ(cells.overflow().size(), 3U);
  EXPECT_EQ(cells.overflow().front(), bigEndian<4>(contentOf(path_), placeOfNext()));
}

TEST_F(CellsOfALongRow, AreNotWholeWhenAPageOfItIsNotThere) {
  overwrite(path_, placeOfNext(), std::string("\0\0\x7F\0", 4));
  StorePages pages(path_);
  RowCells cells(pages);
  EXPECT_FALSE(cells.record(leaf, RowCells::placesIn(pages.page(leaf)).front()));
}

TEST_F(CellsOfALongRow, EndWhenItsPagesLeadInACircle) {
  const std::string bytes = contentOf(path_);
  const std::size_t next = bigEndian<4>(bytes, placeOfNext());
  overwrite(path_, (next - 1) * RowFile::pageSize, bytes.substr(placeOfNext(), 4));
  StorePages pages(path_);
  RowCells cells(pages);
  const auto record = cells.record(leaf, RowCells::placesIn(pages.page(leaf)).front());
  ASSERT_TRUE(record);
  EXPECT_EQ(cells.overflow().size(), 3U);
  EXPECT_FALSE(RowCells::row({record->id + 1, record->bytes, record->end}))
      << "the checksum is of the row's number too";
}

TEST_F(CellsOfALongRow, AreNotWholeWhenItIsLongerThanTheFile) {
  StorePages pages(path_);
  const std::size_t place = RowCells::placesIn(pages.page(leaf)).front();
  overwrite(path_, (leaf - 1) * RowFile::pageSize + place, "\xFF\xFF");
  StorePages altered(path_);
  RowCells cells(altered);
  EXPECT_FALSE(cells.record(leaf, place));
}

TEST_F(CellsOfALongRow, AreNoneOutsideOfTheirPage) {
  StorePages pages(path_);
  RowCells cells(pages);
  EXPECT_FALSE(cells.record(leaf, RowFile::pageSize));
  EXPECT_FALSE(cells.record(leaf, 70000));
  EXPECT_FALSE(cells.record(9999, 0));
}

TEST(CellsOfRows, AreForgottenWithTheOverflowOfTheRowBefore) {
  const TemporaryFolder folder(memory());
  const auto path = folder / "store";
  {
    RowFile file(path, StoreDurability::process);
    file.write({Row{1, 0, 1, "long", std::string(3000, 'x')}, Row{2, 0, 2, "short", 1}}, {});
    EXPECT_TRUE(file.emptyLog(RowFile::LogRoom::givenBack));
  }
  StorePages pages(path);
  RowCells cells(pages);
  const auto places = RowCells::placesIn(pages.page(3));
  ASSERT_EQ(places.size(), 2U);
  ASSERT_TRUE(cells.record(3, places[0]));
  EXPECT_EQ(cells.overflow().size(), 1U);
  const auto record = cells.record(3, places[1]);
  ASSERT_TRUE(record);
  EXPECT_EQ(RowCells::row(*record)->name, "short");
  EXPECT_TRUE(cells.overflow().empty());
}

TEST(CellsOfRows, AreWholeWhateverTheirLength) {
  const TemporaryFolder folder(memory());
  const auto path = folder / "store";
  std::vector<RowChange> rows;
  for (const int most : {RowFile::pageSize, 2 * RowFile::pageSize, 3 * RowFile::pageSize}) {
    for (int length = most - 90; length < most + 10; ++length) {
      const auto id = static_cast<std::int64_t>(rows.size()) + 1;
      rows.emplace_back(Row{id, 0, id, "", std::string(static_cast<std::size_t>(length), 'x')});
    }
  }
  {
    RowFile file(path, StoreDurability::process);
    file.write(rows, {});
    EXPECT_TRUE(file.emptyLog(RowFile::LogRoom::givenBack));
  }
  RowImage image(path);
  EXPECT_EQ(image.rows(false).size(), rows.size());
  EXPECT_EQ(image.damagedRows(), 0U);
}

TEST(CellsOfRows, AreInLeavesOfTablesAlone) {
  std::string page(RowFile::pageSize, '\0');
  page[4] = 1;
  EXPECT_TRUE(RowCells::placesIn(page).empty());
  page[0] = static_cast<char>(interiorOfATable);
  EXPECT_TRUE(RowCells::placesIn(page).empty());
  page[0] = static_cast<char>(leafOfATable);
  page[8] = 1;
  page[9] = 2;
  EXPECT_EQ(RowCells::placesIn(page), (std::vector<std::size_t>{0x102}));
  EXPECT_TRUE(RowCells::placesIn(std::string_view()).empty());
}

TEST(CellsOfRows, AreNoMoreThanFitIntoAPage) {
  std::string page(RowFile::pageSize, '\0');
  page[0] = static_cast<char>(leafOfATable);
  page[3] = page[4] = '\xFF';
  EXPECT_EQ(RowCells::placesIn(page).size(), (RowFile::pageSize - 8U) / 2);
  std::string first(fileHeaderSize, '\0');
  first += page.substr(fileHeaderSize);
  first[fileHeaderSize] = static_cast<char>(leafOfATable);
  first[fileHeaderSize + 3] = first[fileHeaderSize + 4] = '\xFF';
  EXPECT_EQ(RowCells::placesIn(first, fileHeaderSize).size(), (RowFile::pageSize - fileHeaderSize - 8) / 2);
}

}  // namespace
}  // namespace fliprugair
