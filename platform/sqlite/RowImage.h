#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/sqlite/JournalImage.h"
#include "platform/sqlite/Row.h"
#include "platform/sqlite/RowCells.h"
#include "platform/sqlite/StorePages.h"

namespace fliprugair {

/// The rows in a store's files, read page by page and without SQLite, which gives up where a page is damaged: for what
/// can still be read of a damaged store, and for a store that cannot be written. Owned by who made it.
class RowImage {
 public:
  /// Throws StoreError::Kind::unavailable when the file, its log or its journal cannot be read, or are none, as every
  /// call may.
  explicit RowImage(const std::string& path) : pages_(path), journal_(path) {}
  RowImage(const RowImage&) = delete;
  RowImage& operator=(const RowImage&) = delete;

  /// Whether the header names a format of SQLite's, or of a store, that there is not and hardly will be. SQLite leaves
  /// such a file alone as one of a later version, for good.
  bool hasAlteredHeader();

  /// Whether this is a store, its format, and the number of rows that stand in it but do not check.
  bool isStore();
  std::int64_t formatVersion();
  std::size_t damagedRows() const { return damagedRows_; }

  /// Whether the journal has said less than it once had.
  bool lacksWrites() const { return lacksWrites_; }

  /// The rows that check, each once, with what the journal has of them. Those of a first store, whose rows have no
  /// checksums, only if `trustsUnchecked`.
  std::vector<Row> rows(bool trustsUnchecked);

 private:
  void readLeaf(std::uint32_t page, bool trustsUnchecked);
  void followJournal();
  void make(const RowChange& change);
  static std::optional<Row> row(const RowCell& cell, bool trustsUnchecked);

  StorePages pages_;
  JournalImage journal_;
  std::map<std::int64_t, Row> rows_;
  std::size_t damagedRows_ = 0;
  bool lacksWrites_ = false;
};

}  // namespace fliprugair
