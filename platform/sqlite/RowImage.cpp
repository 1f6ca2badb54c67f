#include "platform/sqlite/RowImage.h"

#include <utility>

#include "platform/json/RapidJSONSerialization.h"
#include "platform/sqlite/BigEndian.h"
#include "platform/sqlite/Database.h"
#include "platform/sqlite/SQLiteFormat.h"

namespace fliprugair {

bool RowImage::hasAlteredHeader() {
  std::string first(pages_.beginning());
  first.resize(fileHeaderSize);  // SQLite takes what is missing for zeros
  constexpr unsigned newestWriting = 2;
  constexpr unsigned newestReading = 2;
  constexpr unsigned newestSchema = 4;
  constexpr unsigned newestStore = 0xFF;  // of a library that has come to its second
  return bigEndian<1>(first, 18) > newestWriting || bigEndian<1>(first, 19) > newestReading ||
         bigEndian<4>(first, 44) > newestSchema || bigEndian<4>(first, 60) > newestStore;
}

bool RowImage::isStore() {
  const std::string_view first = pages_.page(1);
  return !first.empty() && bigEndian<4>(first, 68) == RowFile::applicationId;
}

std::int64_t RowImage::formatVersion() {
  const std::string_view first = pages_.page(1);
  return first.empty() ? 0 : bigEndian<4>(first, 60);
}

std::vector<Row> RowImage::rows(bool trustsUnchecked) {
  rows_.clear();
  damagedRows_ = 0;
  pages_.forEach([&](std::uint32_t page) {
    const bool hasTheSchema = page == 1;
    if (!hasTheSchema) readLeaf(page, trustsUnchecked);
  });
  followJournal();
  std::vector<Row> rows;
  rows.reserve(rows_.size());
  for (auto& [id, row] : rows_) rows.push_back(std::move(row));
  return rows;
}

void RowImage::readLeaf(std::uint32_t page, bool trustsUnchecked) {
  RowCells cells(pages_);
  for (const std::size_t place : RowCells::placesIn(pages_.page(page))) {
    const auto record = cells.record(page, place);
    const auto cell = record ? RowCells::row(*record) : std::nullopt;
    auto found = cell ? row(*cell, trustsUnchecked) : std::nullopt;
    if (!found) {
      ++damagedRows_;
    } else {
      const std::int64_t id = found->id;
      rows_.try_emplace(id, *std::move(found));
    }
  }
}

void RowImage::followJournal() {
  const auto row = rows_.find(JournalMark::rowNumber);
  const auto mark = row == rows_.end() ? std::nullopt : JournalMark::of(row->second.value);
  const auto lacking = journal_.after(mark);
  for (const auto* changes : {&lacking.changes, &lacking.beyond}) {
    for (const RowChange& change : *changes) make(change);
  }
  lacksWrites_ = lacking.isDamaged || !lacking.beyond.empty() || (!mark && !journal_.empty());
}

void RowImage::make(const RowChange& change) {
  if (const auto* range = std::get_if<RowRange>(&change)) {
    rows_.erase(rows_.lower_bound(range->first), rows_.upper_bound(range->last));
  } else {
    const Row& row = std::get<Row>(change);
    rows_.insert_or_assign(row.id, row);
  }
}

std::optional<Row> RowImage::row(const RowCell& cell, bool trustsUnchecked) {
  if (!cell.isChecked && !trustsUnchecked) return std::nullopt;
  auto value = RapidJSONSerialization().value(cell.text);
  if (!value) return std::nullopt;
  return Row{cell.id, cell.parent, cell.position, std::string(cell.name), *std::move(value)};
}

}  // namespace fliprugair
