#include "platform/sqlite/RowCells.h"

#include <algorithm>
#include <array>

#include "platform/sqlite/BigEndian.h"
#include "platform/sqlite/Row.h"

namespace fliprugair {

std::vector<std::size_t> RowCells::placesIn(std::string_view page, std::size_t header) {
  if (page.empty() || static_cast<unsigned char>(page[header]) != leafOfATable) return {};
  const std::size_t pointers = header + 8;
  const std::size_t count =
      std::min<std::size_t>(bigEndian<2>(page, header + 3), (StorePages::pageSize - pointers) / 2);
  std::vector<std::size_t> places(count);
  for (std::size_t index = 0; index < count; ++index) places[index] = bigEndian<2>(page, pointers + 2 * index);
  return places;
}

std::optional<RowCells::Record> RowCells::record(std::uint32_t page, std::size_t place) {
  overflow_.clear();
  overflowEnds_ = true;
  const std::string_view content = pages_.page(page);
  RecordReader reader(content, std::min(place, content.size()));
  const std::uint64_t size = reader.varint();
  const auto id = static_cast<std::int64_t>(reader.varint());
  if (reader.hasFailed() || size > pages_.count() * StorePages::pageSize) return std::nullopt;
  const auto bytes = payload(reader, static_cast<std::size_t>(size));
  return bytes ? std::optional<Record>({id, *bytes, reader.place()}) : std::nullopt;
}

std::optional<std::string_view> RowCells::payload(RecordReader& reader, std::size_t size) {
  // How much of a row stands in its own page is laid down in SQLite's file format.
  constexpr std::size_t largest = StorePages::pageSize - 35;
  constexpr std::size_t least = (StorePages::pageSize - 12) * 32 / 255 - 23;
  const std::size_t fitting = least + (size < least ? 0 : (size - least) % (StorePages::pageSize - 4));
  const std::size_t local = size <= largest ? size : fitting <= largest ? fitting : least;
  const std::string_view beginning = reader.bytes(local);
  if (size == local) return reader.hasFailed() ? std::nullopt : std::optional(beginning);
  gathered_ = beginning;
  auto next = static_cast<std::uint32_t>(reader.bigEndian(4));
  if (reader.hasFailed()) return std::nullopt;
  while (gathered_.size() < size) {
    const std::string_view content = pages_.page(next);
    if (content.empty()) return std::nullopt;
    overflow_.push_back(next);
    next = bigEndian<4>(content, 0);
    gathered_ += content.substr(4, size - gathered_.size());
  }
  overflowEnds_ = next == 0;
  return gathered_;
}

/// First the types of its columns, then their contents.
std::optional<RowCell> RowCells::row(const Record& record) {
  RecordReader types(record.bytes, 0);
  const std::uint64_t headerSize = types.varint();
  std::array<std::uint64_t, 6> type{};
  std::size_t columns = 0;
  while (!types.hasFailed() && types.place() < headerSize && columns < type.size()) type[columns++] = types.varint();
  if (types.hasFailed() || columns < 5 || headerSize > record.bytes.size()) return std::nullopt;
  RecordReader contents(record.bytes, static_cast<std::size_t>(headerSize));
  RowCell row;
  row.id = record.id;
  row.parent = contents.integer(type[1]);
  row.position = contents.integer(type[2]);
  row.name = contents.text(type[3]);
  row.text = contents.text(type[4]);
  row.isChecked = columns == 6;
  const std::int64_t checksum = row.isChecked ? contents.integer(type[5]) : 0;
  if (contents.hasFailed() || !areRowNumbers({row.id, row.parent, row.position})) return std::nullopt;
  const bool isWhole =
      !row.isChecked || checksum == Row::checksumOf(row.id, row.parent, row.position, row.name, row.text);
  return isWhole ? std::optional(row) : std::nullopt;
}

}  // namespace fliprugair
