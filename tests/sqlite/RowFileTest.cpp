#include "platform/sqlite/RowFile.h"
#include "sqlite/StoreFiles.h"

namespace fliprugair {
namespace {

constexpr std::uintmax_t megabyte = 1024 * 1024;

/// `file` holds the key "identity" and, in row 2, a value of three megabytes, which goes.
void expectRoomGivenBack(RowFile& file, const std::filesystem::path& path) {
  EXPECT_TRUE(file.emptyLog(RowFile::LogRoom::givenBack));
  EXPECT_GT(std::filesystem::file_size(path), 3 * megabyte);
  file.write({RowRange{2, 2}}, {});
  EXPECT_TRUE(file.hasMuchRoom());
  while (file.hasMuchRoom()) file.giveBackRoom();
  EXPECT_TRUE(file.emptyLog(RowFile::LogRoom::givenBack));
  EXPECT_LT(std::filesystem::file_size(path), 2 * megabyte);
  ASSERT_EQ(file.rows().size(), 1U);
  EXPECT_EQ(file.rows().front().value, Value("identity"));
}

TEST(ARowFile, GivesUnusedRoomBack) {
  const TemporaryFolder folder(memory());
  const auto path = folder / "store";
  RowFile file(path, StoreDurability::process);
  file.write({Row{1, 0, 1, "key", "identity"}, Row{2, 0, 2, "long", std::string(3 * megabyte, 'x')}}, {});
  expectRoomGivenBack(file, path);
}

TEST(ARowFile, OfTheFirstFormatGivesUnusedRoomBackToo) {
  const TemporaryFolder folder(memory());
  const auto path = folder / "store";
  execute(path,
          "PRAGMA page_size = 2048; PRAGMA journal_mode = WAL; BEGIN;"
          "CREATE TABLE rows (id INTEGER PRIMARY KEY, parent INTEGER NOT NULL, position INTEGER NOT NULL,"
          " name TEXT NOT NULL, value TEXT NOT NULL);"
          "PRAGMA application_id = 1181510000; PRAGMA user_version = 1;"
          "INSERT INTO rows VALUES (1, 0, 1, 'key', '\"identity\"'),"
          " (2, 0, 2, 'long', '\"' || hex(zeroblob(1572864)) || '\"');"
          "COMMIT");
  RowFile file(path, StoreDurability::process);
  expectRoomGivenBack(file, path);
}

TEST(ARowFile, MakesAllOfTheChangesOrNoneAndGoesOn) {
  const TemporaryFolder folder(memory());
  const auto path = folder / "store";
  { const RowFile first(path, StoreDurability::process); }
  execute(path,
          "CREATE TRIGGER refusal BEFORE INSERT ON rows WHEN new.name = 'refused' BEGIN SELECT RAISE(FAIL, 'no'); END");
  RowFile file(path, StoreDurability::process);
  EXPECT_THROW(file.write({Row{1, 0, 1, "first", 1}, Row{2, 0, 2, "refused", 2}}, {}), StoreError);
  EXPECT_TRUE(file.rows().empty());
  file.write({Row{3, 0, 3, "third", 3}, Row{4, 0, 4, "fourth", 4}}, {});
  EXPECT_EQ(file.rows().size(), 2U);
}

}  // namespace
}  // namespace fliprugair
