#include "platform/sqlite/RowImage.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/json/RapidJSONSerialization.h"
#include "platform/sqlite/BigEndian.h"
#include "platform/sqlite/Database.h"
#include "platform/sqlite/FileBytes.h"
#include "platform/sqlite/LogImage.h"
#include "platform/sqlite/RowFile.h"

namespace fliprugair {

namespace {

constexpr std::size_t pageSize = RowFile::pageSize;
constexpr std::size_t fileHeaderSize = 100;
constexpr unsigned char leafOfATable = 0x0D;

/// Reads SQLite's numbers and record fields one after the other; after the end it has failed for good.
class Reader {
 public:
  Reader(std::string_view bytes, std::size_t place) : bytes_(bytes), place_(place) {}

  bool hasFailed() const { return hasFailed_; }
  std::size_t place() const { return place_; }

  std::uint64_t varint() {
    std::uint64_t number = 0;
    for (int index = 0; index < 9; ++index) {
      const std::uint64_t byte = next();
      if (index == 8) return (number << 8) | byte;
      number = (number << 7) | (byte & 0x7F);
      if (byte < 0x80) break;
    }
    return number;
  }

  std::int64_t integer(std::size_t size) {
    if (size == 0) return 0;
    std::uint64_t number = 0;
    for (std::size_t index = 0; index < size; ++index) number = (number << 8) | next();
    const std::size_t unused = 64 - 8 * size;
    return static_cast<std::int64_t>(number << unused) >> unused;
  }

  std::string_view text(std::size_t size) {
    if (hasFailed_ || size > bytes_.size() - place_) {
      hasFailed_ = true;
      return {};
    }
    return bytes_.substr(std::exchange(place_, place_ + size), size);
  }

 private:
  std::uint64_t next() {
    if (hasFailed_ || place_ >= bytes_.size()) {
      hasFailed_ = true;
      return 0;
    }
    return static_cast<unsigned char>(bytes_[place_++]);
  }

  std::string_view bytes_;
  std::size_t place_;
  bool hasFailed_ = false;
};

/// The bytes of an integer column with this serial type; nothing for other columns.
std::optional<std::size_t> sizeOfInteger(std::uint64_t type) {
  constexpr std::array<std::size_t, 7> sizes = {0, 1, 2, 3, 4, 6, 8};
  if (type < sizes.size()) return sizes[type];
  return type == 8 || type == 9 ? std::optional<std::size_t>(0) : std::nullopt;
}

std::optional<std::int64_t> integerOf(Reader& reader, std::uint64_t type) {
  const auto size = sizeOfInteger(type);
  if (!size) return std::nullopt;
  return type == 9 ? 1 : reader.integer(*size);
}

bool isText(std::uint64_t type) { return type >= 13 && type % 2 == 1; }

}  // namespace

RowImage::RowImage(const std::string& path) : file_(bytesOfFile(path)), log_(bytesOfFile(path + "-wal")) {
  for (std::size_t place = 0; place + pageSize <= file_.size(); place += pageSize) {
    pages_[static_cast<std::uint32_t>(place / pageSize + 1)] = std::string_view(file_).substr(place, pageSize);
  }
  const LogImage log(log_);
  for (const auto& [number, content] : log.pages()) pages_[number] = content;
}

bool RowImage::hasAlteredHeader() const {
  std::string first(page(1).empty() ? std::string_view(file_) : page(1));
  first.resize(fileHeaderSize);  // SQLite takes what is missing for zeros
  constexpr unsigned newestWriting = 2;
  constexpr unsigned newestReading = 2;
  constexpr unsigned newestSchema = 4;
  constexpr unsigned newestStore = 0xFF;  // of a library that has come to its second
  return bigEndian<1>(first, 18) > newestWriting || bigEndian<1>(first, 19) > newestReading ||
         bigEndian<4>(first, 44) > newestSchema || bigEndian<4>(first, 60) > newestStore;
}

bool RowImage::isStore() const {
  const std::string_view first = page(1);
  return !first.empty() && bigEndian<4>(first, 68) == RowFile::applicationId;
}

std::int64_t RowImage::formatVersion() const {
  const std::string_view first = page(1);
  return first.empty() ? 0 : bigEndian<4>(first, 60);
}

std::string_view RowImage::page(std::uint32_t number) const {
  const auto found = pages_.find(number);
  return found == pages_.end() ? std::string_view() : found->second;
}

std::vector<Row> RowImage::rows(bool trustsUnchecked) {
  rows_.clear();
  damagedRows_ = 0;
  for (const auto& [number, content] : pages_) readLeaf(content, number == 1 ? fileHeaderSize : 0, trustsUnchecked);
  std::vector<Row> rows;
  rows.reserve(rows_.size());
  for (auto& [id, row] : rows_) rows.push_back(std::move(row));
  return rows;
}

void RowImage::readLeaf(std::string_view page, std::size_t header, bool trustsUnchecked) {
  if (static_cast<unsigned char>(page[header]) != leafOfATable || header != 0) return;
  constexpr std::size_t pointers = 8;
  const std::size_t count = std::min<std::size_t>(bigEndian<2>(page, 3), (pageSize - pointers) / 2);
  for (std::size_t index = 0; index < count; ++index) {
    readCell(page, bigEndian<2>(page, pointers + 2 * index), trustsUnchecked);
  }
}

void RowImage::readCell(std::string_view page, std::size_t place, bool trustsUnchecked) {
  Reader reader(page, std::min(place, page.size()));
  const std::uint64_t size = reader.varint();
  const auto id = static_cast<std::int64_t>(reader.varint());
  const std::size_t most = pages_.size() * pageSize;
  std::optional<Row> found;
  if (!reader.hasFailed() && size <= most) {
    if (const auto bytes = payload(page, reader.place(), static_cast<std::size_t>(size))) {
      found = row(id, *bytes, trustsUnchecked);
    }
  }
  if (!found) {
    ++damagedRows_;
  } else {
    rows_.try_emplace(id, *std::move(found));
  }
}

std::optional<std::string> RowImage::payload(std::string_view page, std::size_t place, std::size_t size) const {
  // How much of a row stands in its own page is laid down in SQLite's file format.
  constexpr std::size_t largest = pageSize - 35;
  constexpr std::size_t least = (pageSize - 12) * 32 / 255 - 23;
  const std::size_t fitting = least + (size < least ? 0 : (size - least) % (pageSize - 4));
  const std::size_t local = size <= largest ? size : fitting <= largest ? fitting : least;
  Reader reader(page, place);
  std::string bytes(reader.text(local));
  auto next = size > local ? static_cast<std::uint32_t>(reader.integer(4)) : 0;
  while (!reader.hasFailed() && bytes.size() < size) {
    const std::string_view overflow = this->page(next);
    if (overflow.empty()) return std::nullopt;
    next = bigEndian<4>(overflow, 0);
    bytes += overflow.substr(4, size - bytes.size());
  }
  return reader.hasFailed() ? std::nullopt : std::optional(std::move(bytes));
}

/// A row as SQLite writes it: the types of its columns, then their contents.
std::optional<Row> RowImage::row(std::int64_t id, std::string_view payload, bool trustsUnchecked) const {
  Reader types(payload, 0);
  const std::uint64_t headerSize = types.varint();
  std::array<std::uint64_t, 6> type{};
  std::size_t columns = 0;
  while (!types.hasFailed() && types.place() < headerSize && columns < type.size()) type[columns++] = types.varint();
  const bool isChecked = columns == 6;
  if (types.hasFailed() || columns < 5 || headerSize > payload.size() || !isText(type[3]) || !isText(type[4]) ||
      (!isChecked && !trustsUnchecked)) {
    return std::nullopt;
  }
  Reader contents(payload, static_cast<std::size_t>(headerSize));
  const auto parent = integerOf(contents, type[1]);
  const auto position = integerOf(contents, type[2]);
  const std::string_view name = contents.text(static_cast<std::size_t>((type[3] - 13) / 2));
  const std::string_view text = contents.text(static_cast<std::size_t>((type[4] - 13) / 2));
  const auto checksum = isChecked ? integerOf(contents, type[5]) : std::optional<std::int64_t>(0);
  if (contents.hasFailed() || !parent || !position || !checksum) return std::nullopt;
  Row row{id, *parent, *position, std::string(name), {}};
  if (isChecked && *checksum != row.checksum(text)) return std::nullopt;
  auto value = RapidJSONSerialization().value(text);
  if (!value) return std::nullopt;
  row.value = *std::move(value);
  return row;
}

}  // namespace fliprugair
