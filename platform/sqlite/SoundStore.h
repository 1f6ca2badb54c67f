#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/sqlite/PageRoom.h"
#include "platform/sqlite/RowCells.h"
#include "platform/sqlite/StorePages.h"
#include "platform/sqlite/StoredRows.h"

namespace fliprugair {

/// Reads a store's files without SQLite as long as all is as it should be: every page has its one place, every row
/// checks, and nothing is there that this library does not write. The texts of the records in waiting batches are
/// looked at and left where they are, so that a start with a hundred thousand of them takes milliseconds. Owned by who
/// made it.
class SoundStore {
 public:
  /// Failures as StorePages.
  explicit SoundStore(const std::string& path) : pages_(path) {}
  SoundStore(const SoundStore&) = delete;
  SoundStore& operator=(const SoundStore&) = delete;

  /// Null when anything is unusual: SQLite is to say what, and whether that is damage.
  std::optional<StoredRows> rows();

 private:
  /// What a row is to those below it; an entry is an array that is one.
  enum class Owner { array, dictionary, entry, none };
  struct Child {
    std::uint32_t page;
    std::int64_t largest;  ///< number of a row in it
  };
  /// What a page is for, and which page names it; SQLite keeps a map of that.
  enum class Use : std::uint8_t { none, root, free, firstOverflow, nextOverflow, child };
  struct Page {
    Use use = Use::none;
    std::uint32_t parent = 0;
  };

  bool readHeader();
  bool readFreePages(std::uint32_t trunk, std::uint32_t count);
  bool readTables();
  bool readTable(std::uint32_t root);
  bool readPage(std::uint32_t page, std::uint32_t parent, std::size_t level);
  bool readChildren(std::uint32_t page, std::vector<Child>& children);
  bool readLeaf(std::uint32_t page);
  bool take(const RowCell& cell);
  bool keep(const RowCell& cell);
  bool leave(const RowCell& cell);
  bool noteLeftover(const RowCell& cell);
  bool awaitOwner(const RowCell& cell);
  bool haveOwners() const;
  bool use(std::uint32_t page, Use use, std::uint32_t parent);
  bool useOverflow(std::uint32_t page);
  bool areAllUsed() const;
  bool areAllInMaps();

  StorePages pages_;
  RowCells cells_{pages_};
  PageRoom room_;           ///< of the page that is being read
  std::vector<Page> used_;  ///< by the numbers of the pages
  std::size_t leafLevel_ = 0;
  std::int64_t latest_ = std::numeric_limits<std::int64_t>::min();  ///< number of a row of the table
  std::unordered_map<std::int64_t, Owner> owners_;
  std::vector<std::int64_t> gone_;     ///< rows, as items of theirs are leftovers
  std::vector<std::int64_t> younger_;  ///< rows that are to be dictionaries, as arrays have moved there
  StoredRows found_;
};

}  // namespace fliprugair
