#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sqlite/SQLiteFormat.h"
#include "platform/sqlite/StorePages.h"

namespace fliprugair {

/// A row of a store as it stands in its page.
struct RowCell {
  std::int64_t id = 0;
  std::int64_t parent = 0;
  std::int64_t position = 0;
  std::string_view name;
  std::string_view text;   ///< of the value
  bool isChecked = false;  ///< a first store's rows have no checksums
};

/// Finds the rows in pages. One cell at a time.
class RowCells {
 public:
  explicit RowCells(StorePages& pages) : pages_(pages) {}

  /// Where the cells of `page`, a table's leaf, begin; nothing for other pages. Those of the first page stand behind
  /// the file's header.
  static std::vector<std::size_t> placesIn(std::string_view page, std::size_t header = 0);

  /// The bytes of the record at `place`, and its number. Null when they are not all there. Valid until the next call,
  /// or until another page is asked for.
  struct Record {
    std::int64_t id;
    std::string_view bytes;
    std::size_t end;  ///< of its cell, in its page
  };
  std::optional<Record> record(std::uint32_t page, std::size_t place);

  /// Pages beyond its own that the last record stands in.
  const std::vector<std::uint32_t>& overflow() const { return overflow_; }
  /// Whether the last of them, if there are any, names no other.
  bool overflowEnds() const { return overflowEnds_; }

  /// Null when the record is not as SQLite writes a row of a store, or does not check. Valid as long as the record.
  static std::optional<RowCell> row(const Record& record);

 private:
  std::optional<std::string_view> payload(RecordReader& reader, std::size_t size);

  StorePages& pages_;
  std::string gathered_;
  std::vector<std::uint32_t> overflow_;
  bool overflowEnds_ = true;
};

}  // namespace fliprugair
