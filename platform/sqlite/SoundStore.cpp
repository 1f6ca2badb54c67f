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
constexpr std::size_t leafHeader = 8;    // bytes
constexpr std::size_t interiorHeader = 12;
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
  const bool isTable = contents.text(type[0]) == "table";
  Table table;
  table.name = contents.text(type[1]);
  const bool isItsOwn = contents.text(type[2]) == table.name;
  table.root = static_cast<std::uint32_t>(contents.integer(type[3]));
  table.definition = contents.text(type[4]);
  const bool isGood = isTable && isItsOwn && !types.hasFailed() && !contents.hasFailed();
  return isGood ? std::optional(table) : std::nullopt;
}

}  // namespace

std::optional<StoredRows> SoundStore::rows() {
  if (!readHeader() || !readTables() || !areAllUsed() || !areAllInMaps()) return std::nullopt;
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
  const bool isAsWritten = bigEndian<3>(first, 21) == 0x402020 && bigEndian<4>(first, 44) == 4;
  const bool givesRoomBack = bigEndian<4>(first, 52) != 0 && bigEndian<4>(first, 64) != 0;
  const bool knowsItsSize = bigEndian<4>(first, 24) == bigEndian<4>(first, 92) && pages <= pages_.count();
  if (!isOurs || !isAsWritten || !givesRoomBack || !knowsItsSize || pages == 0 || pages >= mostPages) return false;
  used_.resize(pages + 1);
  used_[1].use = Use::root;
  return readFreePages(bigEndian<4>(first, 32), bigEndian<4>(first, 36));
}

/// A list of pages, each of which lists others.
bool SoundStore::readFreePages(std::uint32_t trunk, std::uint32_t count) {
  std::uint32_t found = 0;
  while (trunk != 0) {
    const std::string_view page = pages_.page(trunk);
    if (page.empty() || !use(trunk, Use::free, 0)) return false;
    const std::uint32_t leaves = bigEndian<4>(page, 4);
    if (leaves > StorePages::pageSize / 4 - 2) return false;
    for (std::uint32_t index = 0; index < leaves; ++index) {
      if (!use(bigEndian<4>(page, 8 + 4 * std::size_t{index}), Use::free, 0)) return false;
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
  room_.clear();
  for (const std::size_t place : places) {
    const auto record = cells_.record(1, place);
    if (record) room_.add(place, record->end);
    const auto table = record ? tableIn(record->bytes) : std::nullopt;
    if (!table || table->definition != RowFile::definition(table->name)) return false;
    if (table->name == "rows") rows = table->root;
    if (table->name == "twins") twins = table->root;
  }
  // The twins last, when it is known whose they are.
  return places.size() == 2 && std::max(rows, twins) == bigEndian<4>(pages_.page(1), 52) &&
         room_.isAll(pages_.page(1), fileHeaderSize, leafHeader) && readTable(rows) && haveOwners() && readTable(twins);
}

bool SoundStore::readTable(std::uint32_t root) {
  latest_ = std::numeric_limits<std::int64_t>::min();
  leafLevel_ = deepestTree;
  return readPage(root, 0, 0);
}

bool SoundStore::readPage(std::uint32_t page, std::uint32_t parent, std::size_t level) {
  const std::string_view content = pages_.page(page);
  if (content.empty() || level > leafLevel_ || !use(page, level == 0 ? Use::root : Use::child, parent)) return false;
  if (static_cast<unsigned char>(content[0]) == leafOfATable) {
    const bool isFirst = leafLevel_ == deepestTree;
    if (isFirst) leafLevel_ = level;
    return level == leafLevel_ && readLeaf(page);
  }
  std::vector<Child> children;
  return readChildren(page, children) && std::all_of(children.begin(), children.end(), [&](const Child& child) {
           if (!readPage(child.page, page, level + 1) || latest_ > child.largest) return false;
           if (child.largest != unbounded) latest_ = child.largest;
           return true;
         });
}

bool SoundStore::readChildren(std::uint32_t page, std::vector<Child>& children) {
  const std::string_view content = pages_.page(page);
  const std::size_t count = bigEndian<2>(content, 3);
  if (static_cast<unsigned char>(content[0]) != interiorOfATable || count > (StorePages::pageSize - interiorHeader) / 2)
    return false;
  room_.clear();
  for (std::size_t index = 0; index < count; ++index) {
    const std::size_t place = bigEndian<2>(content, interiorHeader + 2 * index);
    RecordReader cell(content, place);
    const auto child = static_cast<std::uint32_t>(cell.bigEndian(4));
    const auto largest = static_cast<std::int64_t>(cell.varint());
    if (cell.hasFailed()) return false;
    room_.add(place, cell.place());
    children.push_back({child, largest});
  }
  children.push_back({bigEndian<4>(content, leafHeader), unbounded});
  return room_.isAll(content, 0, interiorHeader);
}

bool SoundStore::readLeaf(std::uint32_t page) {
  room_.clear();
  for (const std::size_t place : RowCells::placesIn(pages_.page(page))) {
    const auto record = cells_.record(page, place);
    const auto cell = record ? RowCells::row(*record) : std::nullopt;
    if (!cell || !cell->isChecked || cell->id <= latest_) return false;
    room_.add(place, record->end);
    latest_ = cell->id;
    if (!useOverflow(page) || !take(*cell)) return false;
  }
  return room_.isAll(pages_.page(page), 0, leafHeader);
}

bool SoundStore::take(const RowCell& cell) {
  const bool isTwin = cell.id < 0;
  if (isTwin) return owners_.contains(-cell.id);  // what it would make good is there
  if (cell.parent == 0) {
    owners_[cell.id] = cell.text == "[]" ? Owner::array : cell.text == "{}" ? Owner::dictionary : Owner::none;
    return keep(cell);
  }
  const auto parent = owners_.find(cell.parent);
  if (parent == owners_.end()) return noteLeftover(cell) || awaitOwner(cell);
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
  if (gone_.empty() || gone_.back() != cell.parent) gone_.push_back(cell.parent);
  return true;
}

/// An array that moved keeps its number, which may be below that of the dictionary which it is an entry of now.
bool SoundStore::awaitOwner(const RowCell& cell) {
  if (cell.text != "[]") return false;
  younger_.push_back(cell.parent);
  owners_[cell.id] = Owner::entry;
  return keep(cell);
}

/// False for a page that has another use already.
bool SoundStore::use(std::uint32_t page, Use use, std::uint32_t parent) {
  if (page == 0 || page >= used_.size() || isMap(page) || used_[page].use != Use::none) return false;
  used_[page] = {use, parent};
  return true;
}

/// Of the row that was read last, which begins in `page`.
bool SoundStore::useOverflow(std::uint32_t page) {
  Use kind = Use::firstOverflow;
  for (const std::uint32_t next : cells_.overflow()) {
    if (!use(next, std::exchange(kind, Use::nextOverflow), std::exchange(page, next))) return false;
  }
  return cells_.overflowEnds();
}

/// Those that were to come later, and no others.
bool SoundStore::haveOwners() const {
  const auto isDictionary = [this](std::int64_t id) {
    const auto owner = owners_.find(id);
    return owner != owners_.end() && owner->second == Owner::dictionary;
  };
  return std::all_of(younger_.begin(), younger_.end(), isDictionary) &&
         std::none_of(gone_.begin(), gone_.end(), [this](std::int64_t id) { return owners_.contains(id); });
}

bool SoundStore::areAllUsed() const {
  for (std::uint32_t page = 1; page < used_.size(); ++page) {
    if (used_[page].use == Use::none && !isMap(page)) return false;
  }
  return true;
}

/// An entry of a map is a byte for the use and four for the parent.
bool SoundStore::areAllInMaps() {
  constexpr std::size_t entrySize = 5;
  for (std::uint32_t map = 2; map < used_.size(); map += mapReach) {
    const std::string_view content = pages_.page(map);
    if (content.empty()) return false;
    for (std::uint32_t page = map + 1; page < used_.size() && page < map + mapReach; ++page) {
      const std::size_t place = entrySize * (page - map - 1);
      const bool isIt = bigEndian<1>(content, place) == static_cast<std::uint64_t>(used_[page].use) &&
                        bigEndian<4>(content, place + 1) == used_[page].parent;
      if (!isIt) return false;
    }
  }
  return true;
}

}  // namespace fliprugair
