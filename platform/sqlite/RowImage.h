#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sqlite/Row.h"

namespace fliprugair {

/// The rows in a store's files, read page by page and without SQLite, which gives up where a page is damaged: for what
/// can still be read of a damaged store, and for a store that cannot be written. Owned by who made it.
class RowImage {
 public:
  /// Reads the file and its log. Throws StoreError::Kind::unavailable when they cannot be read, or are none.
  explicit RowImage(const std::string& path);
  RowImage(const RowImage&) = delete;
  RowImage& operator=(const RowImage&) = delete;

  /// Whether the header names a format of SQLite's, or of a store, that there is not and hardly will be. SQLite leaves
  /// such a file alone as one of a later version, for good.
  bool hasAlteredHeader() const;

  /// Whether this is a store, its format, and the number of rows that stand in it but do not check.
  bool isStore() const;
  std::int64_t formatVersion() const;
  std::size_t damagedRows() const { return damagedRows_; }

  /// The rows that check, each once. Those of a first store, whose rows have no checksums, only if `trustsUnchecked`.
  std::vector<Row> rows(bool trustsUnchecked);

 private:
  std::string_view page(std::uint32_t number) const;
  void readLeaf(std::string_view page, std::size_t header, bool trustsUnchecked);
  void readCell(std::string_view page, std::size_t place, bool trustsUnchecked);
  std::optional<std::string> payload(std::string_view page, std::size_t place, std::size_t size) const;
  std::optional<Row> row(std::int64_t id, std::string_view payload, bool trustsUnchecked) const;

  std::string file_;
  std::string log_;
  std::map<std::uint32_t, std::string_view> pages_;
  std::map<std::int64_t, Row> rows_;
  std::size_t damagedRows_ = 0;
};

}  // namespace fliprugair
