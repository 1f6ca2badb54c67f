#include <cmath>
#include <fstream>
#include <map>
#include <random>

#include "platform/json/RapidJSONSerialization.h"
#include "platform/sqlite/BigEndian.h"
#include "platform/sqlite/RowFile.h"
#include "platform/sqlite/SoundStore.h"
#include "sqlite/StoreFiles.h"

namespace fliprugair {
namespace {

constexpr std::size_t pageLength = RowFile::pageSize;

/// What a store consists of, whoever has read it: the text of each row under its number.
using RowTexts = std::map<std::int64_t, std::string>;

std::string textOf(const Row& row) {
  return std::to_string(row.parent) + ' ' + std::to_string(row.position) + ' ' + row.name + ' ' +
         RapidJSONSerialization().textOfAny(row.value);
}

RowTexts textsOf(const std::vector<Row>& rows) {
  RowTexts texts;
  for (const Row& row : rows) {
    const bool isTwin = row.id < 0;
    if (!isTwin) texts[row.id] = textOf(row);
  }
  return texts;
}

std::vector<Row> rowsBySQLite(const std::filesystem::path& path) {
  const RowFile file(path, StoreDurability::process);
  file.leaveFilesAlone();
  return file.rows();
}

std::vector<std::int64_t> numbersIn(const RowNumbers& rows) {
  std::vector<std::int64_t> numbers;
  for (const RowRange& range : rows.ranges()) {
    for (std::int64_t id = range.first; id <= range.last; ++id) numbers.push_back(id);
  }
  return numbers;
}

/// Of rows that were left in the file it is known where they hang, and how deep they may nest.
void expectTheSame(const StoredRows& found, const std::vector<Row>& rows, const std::string& what) {
  RowTexts expected = textsOf(rows);
  std::size_t count = found.rows.size() + found.leftovers.size();
  for (const auto& [parent, items] : found.left) count += items.rows.size();
  EXPECT_EQ(count, expected.size()) << what;
  std::map<std::int64_t, const Row*> byNumber;
  for (const Row& row : rows) byNumber[row.id] = &row;
  for (const auto& [parent, items] : found.left) {
    EXPECT_FALSE(items.rows.empty()) << what;
    for (const std::int64_t id : numbersIn(items.rows)) {
      const auto place = byNumber.find(id);
      ASSERT_NE(place, byNumber.end()) << what << ", row " << id;
      const Row& row = *place->second;
      EXPECT_EQ(row.parent, parent) << what << ", row " << id;
      EXPECT_EQ(row.position, id) << what;
      EXPECT_EQ(row.name, "") << what << ", row " << id;
      EXPECT_LE(row.value.depth(), items.depth) << what << ", row " << id;
      expected.erase(id);
    }
  }
  for (const std::int64_t id : numbersIn(found.leftovers)) {
    EXPECT_FALSE(byNumber.contains(byNumber.at(id)->parent)) << what << ", row " << id;
    expected.erase(id);
  }
  EXPECT_EQ(textsOf(found.rows), expected) << what;
}

bool isRead(const std::filesystem::path& path) { return SoundStore(path).rows().has_value(); }

/// A store of batches that wait, of every other kind of value, of rows that take more than a page, and of unused pages.
void makeStore(const std::filesystem::path& path) {
  const auto store = openStoreWithoutJournal(path);
  store->setObject(Dictionary(), "queue");
  store->setObject(std::string(9 * pageLength, 'f'), "freed");
  store->synchronize();
  store->setObject(Value{{"1.0", Array{record(1), record(2), record(3), record(4), record(5), record(6), record(7)}},
                         {"2.0", Array{record(8), std::string(5000, 'x'), 9, "", Array(), Dictionary(), nullptr}},
                         {"", Array{record(10)}},
                         {"3.0", Array()},
                         {"4.0", record(11)},
                         {"5.0", Dictionary()},
                         {"6.0", "text"}},
                   "queue");
  store->setObject(Array{record(12), record(13)}, "records");
  store->setObject("MI1", identifier);
  store->setObject(true, "flag");
  store->removeObject("freed");
}

class Values {
 public:
  explicit Values(unsigned seed) : random_(seed) {}

  std::size_t below(std::size_t bound) { return random_() % bound; }

  Value scalar() {
    switch (below(6)) {
      case 0:
        return static_cast<std::int64_t>(random_()) - 1000;
      case 1:
        return static_cast<double>(below(1000)) / 8;
      case 2:
        return below(2) == 0;
      case 3:
        return std::string(below(5) == 0 ? 3000 : below(700), static_cast<char>('a' + below(26)));
      case 4:
        return "";
      default:
        return nullptr;
    }
  }

  Value any(int levels) {
    switch (levels == 0 ? 0 : below(4)) {
      case 1:
        return array(levels - 1, 5);
      case 2:
        return dictionary(levels - 1, 5);
      case 3:
        return record(static_cast<int>(below(1000)));
      default:
        return scalar();
    }
  }

  Array array(int levels, std::size_t most) {
    std::vector<Value> items(below(most));
    for (Value& item : items) item = any(levels);
    return Array(std::move(items));
  }

  Dictionary dictionary(int levels, std::size_t most) {
    Dictionary values;
    for (std::size_t count = below(most); count > 0; --count) values = values.setting(name(), any(levels));
    return values;
  }

  std::string name() { return below(8) == 0 ? "" : "n" + std::to_string(below(12)); }

 private:
  std::mt19937 random_;
};

void writeSome(SQLiteUserDefaults& store, Values& values) {
  const std::string key = "key" + std::to_string(values.below(5));
  switch (values.below(8)) {
    case 0:
      store.setObject(values.any(3), key);
      break;
    case 1:
      store.removeObject(key);
      break;
    case 2:
      store.setObject(values.array(2, 30), key);
      break;
    case 3:
      store.update(key, [&](const Value& value) { return Value(value.array().appending(values.any(2))); });
      break;
    case 4:
      store.update(key, [&](const Value& value) { return Value(value.dictionary().removing(values.name())); });
      break;
    default:
      store.update(key, [&](const Value& value) {
        return Value(value.dictionary().setting(values.name(), values.array(3, 40)));
      });
  }
}

TEST(ASoundStore, IsReadAsSQLiteReadsIt) {
  const TemporaryFolder folder(memory());
  const auto path = folder / "store";
  makeStore(path);
  const auto found = SoundStore(path).rows();
  ASSERT_TRUE(found);
  EXPECT_EQ(found->left.size(), 3U);
  expectTheSame(*found, rowsBySQLite(path), "");
}

TEST(ASoundStore, IsReadAsSQLiteReadsItWhateverWasWrittenInManyLives) {
  std::size_t left = 0;
  for (unsigned seed = 1; seed <= 25; ++seed) {
    Values values(seed);
    const TemporaryFolder folder(memory());
    const auto path = folder / "store";
    for (int life = 0; life < 4; ++life) {
      const auto store = openStore(path);
      for (std::size_t write = 3 + values.below(12); write > 0; --write) {
        writeSome(*store, values);
        if (values.below(3) == 0) store->synchronize();
      }
      store->synchronize();
      const TemporaryFolder copies(memory());
      for (const char* suffix : {"", "-wal"})
        std::filesystem::copy_file(path.string() + suffix, (copies / "store").string() + suffix);
      const std::string what = "seed " + std::to_string(seed) + ", life " + std::to_string(life);
      const auto found = SoundStore(copies / "store").rows();
      ASSERT_TRUE(found) << what;
      left += found->left.size();
      expectTheSame(*found, rowsBySQLite(copies / "store"), what);
    }
    const auto found = SoundStore(path).rows();
    ASSERT_TRUE(found) << seed;
    expectTheSame(*found, rowsBySQLite(path), "seed " + std::to_string(seed) + " without its log");
  }
  EXPECT_GT(left, 100U);
}

TEST(ASoundStore, IsReadAfterRoomWasGivenBack) {
  const TemporaryFolder folder(memory());
  const auto path = folder / "store";
  {
    RowFile file(path, StoreDurability::process);
    std::vector<RowChange> rows{Row{1, 0, 1, "queue", Dictionary()}, Row{2, 1, 2, "1.0", Array()}};
    for (int id = 3; id < 3000; ++id) rows.emplace_back(Row{id, 2, id, "", record(id)});
    file.write(rows, {});
    file.write({RowRange{100, 2900}}, {});
    while (file.hasMuchRoom()) file.giveBackRoom();
    ASSERT_TRUE(file.emptyLog(RowFile::LogRoom::givenBack));
  }
  const auto found = SoundStore(path).rows();
  ASSERT_TRUE(found);
  EXPECT_EQ(found->left.at(2).rows.size(), 97U + 99U);
  expectTheSame(*found, rowsBySQLite(path), "");
}

TEST(ASoundStore, IsReadWhenAnArrayMovedToADictionaryThatIsYoungerThanIt) {
  const TemporaryFolder folder(memory());
  const auto path = folder / "store";
  {
    const auto store = openStore(path);
    store->setObject(Array{record(1), record(2)}, "records");
    store->synchronize();
    store->setObject(Value{{"1.0", store->objectForKey("records")}}, "queue");
    store->removeObject("records");
  }
  const auto found = SoundStore(path).rows();
  ASSERT_TRUE(found);
  ASSERT_EQ(found->left.size(), 1U);
  EXPECT_EQ(found->left.begin()->second.rows.size(), 2U);
  expectTheSame(*found, rowsBySQLite(path), "");
}

struct Oddity {
  const char* name;
  std::function<void(const std::filesystem::path&)> make;

  friend void PrintTo(const Oddity& oddity, std::ostream* out) { *out << oddity.name; }
};

std::function<void(const std::filesystem::path&)> throughSQL(const char* sql) {
  return [sql](const std::filesystem::path& path) { execute(path, sql); };
}

std::function<void(const std::filesystem::path&)> byRows(std::vector<RowChange> rows) {
  return [rows](const std::filesystem::path& path) { RowFile(path, StoreDurability::process).write(rows, {}); };
}

std::string fourBytes(std::uint64_t number) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift);
  return bytes;
}

std::function<void(const std::filesystem::path&)> byNumberAt(std::size_t place, std::uint64_t number) {
  return [=](const std::filesystem::path& path) { overwrite(path, place, fourBytes(number)); };
}

std::function<void(const std::filesystem::path&)> byByteAt(std::size_t place, char byte) {
  return [=](const std::filesystem::path& path) { overwrite(path, place, std::string(1, byte)); };
}

/// The file's bytes, and the place where a page begins.
struct Pages {
  explicit Pages(const std::filesystem::path& path) : bytes(contentOf(path)) {}
  static std::size_t placeOf(std::uint64_t page) { return (page - 1) * pageLength; }
  std::uint64_t number(std::size_t place) const { return bigEndian<4>(bytes, place); }
  std::uint64_t shortNumber(std::size_t place) const { return bigEndian<2>(bytes, place); }
  std::string bytes;
};

constexpr std::uint64_t rootOfRows = 3;  // behind the schema and the map of pages

/// The last page of a long row names another.
void leaveALooseEnd(const std::filesystem::path& path) {
  const Pages pages(path);
  for (std::uint64_t page = 3; pages.placeOf(page) < pages.bytes.size(); ++page) {
    constexpr char nextOverflow = 4;
    const bool isLast =
        pages.bytes[pageLength + 5 * (page - 3)] == nextOverflow && pages.number(Pages::placeOf(page)) == 0;
    if (isLast) return overwrite(path, Pages::placeOf(page), fourBytes(rootOfRows));
  }
  FAIL() << "there is no long row";
}

void addARow(const std::filesystem::path& path, std::int64_t id, std::int64_t parent, const std::string& text) {
  const std::int64_t checksum = Row::checksumOf(id, parent, id, "", text);
  execute(path, ("INSERT INTO rows VALUES (" + std::to_string(id) + ", " + std::to_string(parent) + ", " +
                 std::to_string(id) + ", '', '" + text + "', " + std::to_string(checksum) + ")")
                    .c_str());
}

void addARowThatIsNotJSON(const std::filesystem::path& path) { addARow(path, 900, 0, "not JSON"); }

void addALongItemThatIsNotJSON(const std::filesystem::path& path) {
  byRows({Row{900, 0, 900, "a", Dictionary()}, Row{901, 900, 901, "b", Array()}})(path);
  addARow(path, 902, 901, '"' + std::string(2 * Value::deepest, 'x'));
}

/// One leaf hangs in two places, and another in none.
void hangALeafTwice(const std::filesystem::path& path) {
  const Pages pages(path);
  const std::size_t root = Pages::placeOf(rootOfRows);
  ASSERT_EQ(pages.bytes[root], 0x05);
  const std::size_t firstCell = root + pages.shortNumber(root + 12);
  const std::size_t secondCell = root + pages.shortNumber(root + 14);
  overwrite(path, secondCell, pages.bytes.substr(firstCell, 4));
}

void swapRows(const std::filesystem::path& path) {
  const Pages pages(path);
  const std::size_t root = Pages::placeOf(rootOfRows);
  const std::size_t leaf = Pages::placeOf(pages.number(root + 8));
  ASSERT_EQ(pages.bytes[leaf], 0x0D);
  ASSERT_GE(pages.shortNumber(leaf + 3), 2U);
  overwrite(path, leaf + 8, pages.bytes.substr(leaf + 10, 2) + pages.bytes.substr(leaf + 8, 2));
}

void swapLeaves(const std::filesystem::path& path) {
  const Pages pages(path);
  const std::size_t root = Pages::placeOf(rootOfRows);
  const std::size_t cell = root + pages.shortNumber(root + 12);
  overwrite(path, root + 8, pages.bytes.substr(cell, 4));
  overwrite(path, cell, pages.bytes.substr(root + 8, 4));
}

void addAPage(const std::filesystem::path& path) {
  const Pages pages(path);
  std::ofstream(path, std::ios::binary | std::ios::app) << std::string(pageLength, '\0');
  overwrite(path, 28, fourBytes(pages.number(28) + 1));
}

void listAUsedPageAsFree(const std::filesystem::path& path) {
  const Pages pages(path);
  ASSERT_GE(pages.number(36), 2U);
  overwrite(path, Pages::placeOf(pages.number(32)) + 8, fourBytes(rootOfRows));
}

std::vector<Oddity> oddities() {
  return {
      {"theFirstFormat", throughSQL("PRAGMA user_version = 1")},
      {"theSecondFormat", throughSQL("PRAGMA user_version = 2")},
      {"theThirdFormat", throughSQL("PRAGMA user_version = 3")},
      {"ANewerFormat", throughSQL("PRAGMA user_version = 5")},
      {"AnotherProgramsNumber", throughSQL("PRAGMA application_id = 7")},
      {"AnotherEncoding", byNumberAt(56, 2)},
      {"AnotherBeginning", byByteAt(3, 'X')},
      {"AnotherPageSize", byByteAt(16, 4)},
      {"NoLogForWriting", byByteAt(18, 1)},
      {"NoLogForReading", byByteAt(19, 1)},
      {"PagesWithAnEndOfTheirOwn", byByteAt(20, 8)},
      {"AnUnknownSize", byNumberAt(92, 0)},
      {"MorePagesThanThereAre", byNumberAt(28, 100000)},
      {"NoSizeAtAll", byNumberAt(28, 0)},
      {"NoRoomToGiveBack", byNumberAt(52, 0)},
      {"NoRoomToGiveBackByAndBy", byNumberAt(64, 0)},
      {"AnotherTable", throughSQL("CREATE TABLE other (x)")},
      {"OtherFractions", byByteAt(21, 65)},
      {"AnotherFormatOfTables", byNumberAt(44, 1)},
      {"AnotherLastRoot", byNumberAt(52, 5)},
      {"AWrongUseInTheMap", byByteAt(pageLength + 5 * 3, 4)},
      {"AWrongParentInTheMap", byByteAt(pageLength + 5 * 3 + 4, 77)},
      {"AViewOfThatName", throughSQL("PRAGMA writable_schema = ON; UPDATE sqlite_schema SET type = 'view'")},
      {"ATableOfAnother", throughSQL("PRAGMA writable_schema = ON; UPDATE sqlite_schema SET tbl_name = 'x'")},
      {"ALooseEnd", leaveALooseEnd},
      {"AnIndex", throughSQL("CREATE INDEX names ON rows (name)")},
      {"NoTwins", throughSQL("DROP TABLE twins")},
      {"AnAlteredTable", throughSQL("PRAGMA writable_schema = ON;"
                                    "UPDATE sqlite_schema SET sql = replace(sql, 'name TEXT', 'name text')")},
      {"AnAlteredRow", throughSQL("UPDATE rows SET value = '\"MI2\"' WHERE value = '\"MI1\"'")},
      {"AnAlteredTwin", throughSQL("UPDATE twins SET position = position + 1")},
      {"AnAlteredItem", throughSQL("UPDATE rows SET value = replace(value, 'level', 'Level') WHERE id = "
                                   "(SELECT max(id) FROM rows WHERE value LIKE '%level%')")},
      {"ARowThatIsNotJSON", addARowThatIsNotJSON},
      {"ALongItemThatIsNotJSON", addALongItemThatIsNotJSON},
      {"ARowWithoutAnOwner", byRows({Row{900, 899, 900, "name", 1}})},
      {"ARowInAnotherPositionWithoutAnOwner", byRows({Row{900, 899, 901, "", 1}})},
      {"AnArrayWithoutAnOwner", byRows({Row{900, 899, 901, "", Array()}})},
      {"ARowOfALaterOwner", byRows({Row{900, 901, 900, "", 1}, Row{901, 0, 901, "late", Array()}})},
      {"AnArrayOfALaterArray", byRows({Row{900, 901, 902, "", Array()}, Row{901, 0, 901, "late", Array()}})},
      {"AnArrayOfALaterText", byRows({Row{900, 901, 902, "", Array()}, Row{901, 0, 901, "late", "text"}})},
      {"ARowOfAText", byRows({Row{900, 0, 900, "text", "text"}, Row{901, 900, 901, "", 1}})},
      {"ATwinWithoutItsRow", byRows({Row{-900, 0, 900, "twin", Array()}})},
      {"AnItemWithAName",
       byRows({Row{900, 0, 900, "a", Dictionary()}, Row{901, 900, 901, "b", Array()}, Row{902, 901, 902, "named", 1}})},
      {"AnItemInAnotherPosition",
       byRows({Row{900, 0, 900, "a", Dictionary()}, Row{901, 900, 901, "b", Array()}, Row{902, 901, 903, "", 1}})},
      {"ALeafInTwoPlaces", hangALeafTwice},
      {"RowsOutOfOrder", swapRows},
      {"LeavesOutOfOrder", swapLeaves},
      {"APageInNoPlace", addAPage},
      {"AUsedPageAmongTheFree", listAUsedPageAsFree},
      {"FewerFreePagesThanListed", byNumberAt(36, 1)},
      {"NoFreePagesAlthoughThereAre", [](const auto& path) { overwrite(path, 32, std::string(8, '\0')); }},
  };
}

class AnUnusualStore : public testing::TestWithParam<Oddity> {};

TEST_P(AnUnusualStore, IsLeftToSQLite) {
  const TemporaryFolder folder(memory());
  const auto path = folder / "store";
  makeStore(path);
  ASSERT_TRUE(isRead(path));
  GetParam().make(path);
  EXPECT_FALSE(isRead(path));
}

INSTANTIATE_TEST_SUITE_P(Oddities, AnUnusualStore, testing::ValuesIn(oddities()),
                         [](const auto& parameter) { return parameter.param.name; });

TEST(ASoundStore, IsNoneWhereThereIsNoFile) {
  const TemporaryFolder folder(memory());
  EXPECT_FALSE(isRead(folder / "store"));
  std::ofstream(folder / "store") << "short";
  EXPECT_FALSE(isRead(folder / "store"));
}

/// A store as `makeStore` makes it, one bit of which is another.
class ASoundStoreWithAnAlteredBit : public testing::Test {
 protected:
  ASoundStoreWithAnAlteredBit() {
    makeStore(path_);
    whole_ = contentOf(path_);
    expected_ = SoundStore(path_).rows();
    EXPECT_TRUE(expected_);
    texts_ = textsOf(expected_->rows);
  }

  /// Whether it is read; then nothing in it is another.
  bool isReadWithBit(std::size_t place, int bit) {
    overwrite(path_, place, std::string(1, static_cast<char>(whole_[place] ^ (1 << bit))));
    const auto found = SoundStore(path_).rows();
    overwrite(path_, place, std::string(1, whole_[place]));
    if (!found) return false;
    EXPECT_EQ(textsOf(found->rows), texts_) << place << ", bit " << bit;
    EXPECT_EQ(found->left.size(), expected_->left.size()) << place << ", bit " << bit;
    for (const auto& [parent, items] : expected_->left) {
      const auto left = found->left.find(parent);
      EXPECT_TRUE(left != found->left.end() && left->second.rows == items.rows) << place << ", bit " << bit;
    }
    return true;
  }

  const TemporaryFolder folder_{memory()};
  const std::filesystem::path path_ = folder_ / "store";
  std::string whole_;
  std::optional<StoredRows> expected_;
  RowTexts texts_;
};

TEST_F(ASoundStoreWithAnAlteredBit, NeverGivesOtherRows) {
  std::size_t read = 0;
  for (std::size_t place = 0; place < whole_.size(); ++place) {
    if (isReadWithBit(place, static_cast<int>(place % 8))) ++read;
  }
  EXPECT_GT(whole_.size() - read, 10000U);
}

TEST_F(ASoundStoreWithAnAlteredBit, IsLeftToSQLiteWhenItIsInWhatAPageSaysOfItsRoom) {
  std::size_t pages = 0;
  for (std::size_t page = 2 * pageLength; page < whole_.size(); page += pageLength) {
    const std::size_t headerSize = whole_[page] == 0x0D ? 8 : whole_[page] == 0x05 ? 12 : 0;
    if (headerSize > 0) ++pages;
    for (std::size_t place = page; place < page + headerSize; ++place) {
      for (int bit = 0; bit < 8; ++bit) EXPECT_FALSE(isReadWithBit(place, bit)) << place << ", bit " << bit;
    }
  }
  EXPECT_GT(pages, 5U);
  for (int bit = 0; bit < 8; ++bit) EXPECT_FALSE(isReadWithBit(104, bit)) << "tables, bit " << bit;
}

}  // namespace
}  // namespace fliprugair
