#include "platform/sqlite/SoundStore.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "platform/sqlite/BigEndian.h"
#include "platform/sqlite/SQLiteFormat.h"
#include "platform/sqlite/StoredValue.h"

namespace fliprugair {

namespace {

// What follows is laid down in SQLite's file format.
constexpr std::size_t deepestTree = 20;  // levels
constexpr std::uint32_t mostPages =
    0x40000000 / StorePages::pageSize;                            // behind them comes a page that is for locks only
constexpr std::uint32_t mapReach = StorePages::pageSize / 5 + 1;  // pages: a map and those that it tells the places of

constexpr std::int64_t unbounded = std::numeric_limits<std::int64_t>::max();

bool isMap(std::uint32_t page) { return page >= 2 && (page - 2) % mapReach == 0; }

/// What SQLite knows of a table.
struct Table {
  std::string_view name;
  std::uint32_t root = 0;  ///< page
  std::string_view definition;
};

std::optional<Table> tableIn(std::string_view record) {
  RecordReader types(record, 0);
  const std::uint64_t headerSize = types.varint();
  std::array<std::uint64_t, 5> type{};
  for (std::uint64_t& each : type) each = types.varint();
  RecordReader contents(record, static_cast<std::size_t>(std::min<std::uint64_t>(headerSize, record.size())));
  contents.text(type[0]);  // says that it is a table, as the definition does
  Table table;
  table.name = contents.text(type[1]);
  contents.text(type[2]);
  table.root = static_cast<std::uint32_t>(contents.integer(type[3]));
  table.definition = contents.text(type[4]);
  return types.hasFailed() || contents.hasFailed() ? std::nullopt : std::optional(table);
}

}  // namespace

std::optional<StoredRows> SoundStore::rows() {
  if (!readHeader() || !readTables() || !allAreUsed()) return std::nullopt;
  return std::move(found_);
}

bool SoundStore::readHeader() {
  const std::string_view first = pages_.page(1);
  if (first.empty()) return false;
  const std::uint32_t pages = bigEndian<4>(first, 28);
  const bool isOurs = first.starts_with(std::string_view("SQLite format 3\0", 16)) &&
                      bigEndian<2>(first, 16) == StorePages::pageSize && bigEndian<1>(first, 18) == 2 &&
                      bigEndian<1>(first, 19) == 2 && bigEndian<1>(first, 20) == 0 && bigEndian<4>(first, 56) == 1 &&
                      bigEndian<4>(first, 60) == RowFile::formatVersion &&
                      bigEndian<4>(first, 68) == RowFile::applicationId;
  const bool givesRoomBack = bigEndian<4>(first, 52) != 0 && bigEndian<4>(first, 64) != 0;
  const bool knowsItsSize = bigEndian<4>(first, 24) == bigEndian<4>(first, 92) && pages <= pages_.count();
  if (!isOurs || !givesRoomBack || !knowsItsSize || pages >= mostPages) return false;
  used_.resize(pages + 1);
  return use(1) && readFreePages(bigEndian<4>(first, 32), bigEndian<4>(first, 36));
}

/// A list of pages, each of which lists others.
bool SoundStore::readFreePages(std::uint32_t trunk, std::uint32_t count) {
  std::uint32_t found = 0;
  while (trunk != 0) {
    const std::string_view page = pages_.page(trunk);
    if (page.empty() || !use(trunk)) return false;
    const std::uint32_t leaves = bigEndian<4>(page, 4);
    if (leaves > StorePages::pageSize / 4 - 2) return false;
    for (std::uint32_t index = 0; index < leaves; ++index) {
      if (!use(bigEndian<4>(page, 8 + 4 * std::size_t{index}))) return false;
    }
    found += leaves + 1;
    trunk = bigEndian<4>(page, 0);
  }
  return found == count;
}

bool SoundStore::readTables() {
  std::uint32_t rows = 0;
  std::uint32_t twins = 0;
  const auto places = RowCells::placesIn(pages_.page(1), fileHeaderSize);
  for (const std::size_t place : places) {
    const auto record = cells_.record(1, place);
    const auto table = record ? tableIn(record->bytes) : std::nullopt;
    if (!table || table->definition != RowFile::definition(table->name)) return false;
    if (table->name == "rows") rows = table->root;
    if (table->name == "twins") twins = table->root;
  }
  // The twins last, when it is known whose they are.
  return places.size() == 2 && readTable(rows) && readTable(twins);
}

bool SoundStore::readTable(std::uint32_t root) {
  latest_ = std::numeric_limits<std::int64_t>::min();
  return readPage(root, 0);
}

bool SoundStore::readPage(std::uint32_t page, std::size_t level) {
  const std::string_view content = pages_.page(page);
  if (content.empty() || level > deepestTree || !use(page)) return false;
  if (static_cast<unsigned char>(content[0]) == leafOfATable) return readLeaf(page);
  std::vector<Child> children;
  return readChildren(page, children) && std::all_of(children.begin(), children.end(), [&](const Child& child) {
           if (!readPage(child.page, level + 1) || latest_ > child.largest) return false;
           if (child.largest != unbounded) latest_ = child.largest;
           return true;
         });
}

bool SoundStore::readChildren(std::uint32_t page, std::vector<Child>& children) {
  constexpr std::size_t pointers = 12;
  const std::string_view content = pages_.page(page);
  const std::size_t count = bigEndian<2>(content, 3);
  if (static_cast<unsigned char>(content[0]) != interiorOfATable || count > (StorePages::pageSize - pointers) / 2)
    return false;
  for (std::size_t index = 0; index < count; ++index) {
    RecordReader cell(content,
                      std::min<std::size_t>(bigEndian<2>(content, pointers + 2 * index), StorePages::pageSize));
    const auto child = static_cast<std::uint32_t>(cell.bigEndian(4));
    const auto largest = static_cast<std::int64_t>(cell.varint());
    if (cell.hasFailed()) return false;
    children.push_back({child, largest});
  }
  children.push_back({bigEndian<4>(content, 8), unbounded});
  return true;
}

bool SoundStore::readLeaf(std::uint32_t page) {
  for (const std::size_t place : RowCells::placesIn(pages_.page(page))) {
    const auto record = cells_.record(page, place);
    const auto cell = record ? RowCells::row(*record) : std::nullopt;
    if (!cell || !cell->isChecked || cell->id <= latest_) return false;
    latest_ = cell->id;
    const auto& overflow = cells_.overflow();
    if (!std::all_of(overflow.begin(), overflow.end(), [this](std::uint32_t each) { return use(each); })) return false;
    if (!take(*cell)) return false;
  }
  return true;
}

bool SoundStore::take(const RowCell& cell) {
  const bool isTwin = cell.id < 0;
  if (isTwin) return owners_.contains(-cell.id);  // what it would make good is there
  if (cell.parent == 0) {
    owners_[cell.id] = cell.text == "[]" ? Owner::array : cell.text == "{}" ? Owner::dictionary : Owner::none;
    return keep(cell);
  }
  const auto parent = owners_.find(cell.parent);
  if (parent == owners_.end()) return noteLeftover(cell);
  switch (parent->second) {
    case Owner::dictionary:
      owners_[cell.id] = cell.text == "[]" ? Owner::entry : Owner::none;
      return keep(cell);
    case Owner::array:
      return keep(cell);
    case Owner::entry:
      return leave(cell);
    case Owner::none:
      return false;
  }
  return false;
}

bool SoundStore::keep(const RowCell& cell) {
  auto value = storedValue(cell.text);
  if (!value) return false;
  found_.rows.push_back({cell.id, cell.parent, cell.position, std::string(cell.name), *std::move(value)});
  return true;
}

bool SoundStore::leave(const RowCell& cell) {
  std::size_t depth = cell.text.size() / 2;  // at most, as each level has two brackets
  if (cell.text.size() > Value::deepest) {
    const auto value = storedValue(cell.text);
    if (!value) return false;
    depth = value->depth();
  }
  if (!isItem(cell.id, cell.parent, cell.position, cell.name)) return false;
  StoredRows::LeftItems& items = found_.left[cell.parent];
  items.rows.add(cell.id);
  items.depth = std::max(items.depth, depth);
  return true;
}

bool SoundStore::noteLeftover(const RowCell& cell) {
  if (!isItem(cell.id, cell.parent, cell.position, cell.name)) return false;
  found_.leftovers.add(cell.id);
  found_.newestNumber = std::max(found_.newestNumber, cell.parent);
  return true;
}

/// False for a page that has another use already.
bool SoundStore::use(std::uint32_t page) {
  if (page == 0 || page >= used_.size() || isMap(page) || used_[page]) return false;
  used_[page] = true;
  return true;
}

bool SoundStore::allAreUsed() const {
  for (std::uint32_t page = 1; page < used_.size(); ++page) {
    if (!used_[page] && !isMap(page)) return false;
  }
  return true;
}

}  // namespace fliprugair
