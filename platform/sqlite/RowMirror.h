#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/FunctionRef.h"
#include "platform/NameHash.h"
#include "platform/sqlite/Row.h"
#include "platform/sqlite/RowNumbers.h"
#include "platform/sqlite/StoreMemory.h"
#include "platform/sqlite/StoredArrays.h"
#include "platform/sqlite/StoredRows.h"

namespace fliprugair {

/// What the file holds, and in which rows: finds the fewest rows to change for what was written.
///
/// A key's array or dictionary is stored item by item, and so is an array that is an entry of a key's dictionary;
/// everything else is one row. An array that leaves a key and comes up elsewhere in the same writes takes its rows
/// along: only its own row is written again.
///
/// Owned by StoreDisk, which also guards it. What it has staged counts as written from then on.
class RowMirror {
 public:
  RowMirror() = default;
  /// A row without its own is made good by its twin. Items that were left in the file are read by `arrays`.
  RowMirror(StoredRows stored, const std::shared_ptr<StoredArrays>& arrays);
  explicit RowMirror(std::vector<Row> rows) : RowMirror({std::move(rows), {}, true}, nullptr) {}

  /// What the rows of the constructor made up: keys, records (rows below a key), and rows that fit nowhere.
  struct Account {
    std::size_t keys = 0;
    std::size_t records = 0;
    std::size_t unused = 0;
  };
  const Account& account() const { return account_; }

  /// How many rows are to be removed in a quiet moment: items of entries that are gone. No others take their numbers.
  std::size_t leftovers() const { return leftovers_.size(); }

  /// Appends to `changes` the removal of the first `most` of them.
  void stageLeftovers(std::size_t most, std::vector<RowChange>& changes);

  void forEachKey(FunctionRef<void(const std::string&, const Value&)> visit) const;

  /// Appends to `changes` what leads from the rows as they are to the values in `writes`.
  void stage(const std::vector<StoreMemory::Write>& writes, std::vector<RowChange>& changes);

 private:
  struct Stored {
    std::int64_t id = 0;  ///< 0 when there is no row
    std::int64_t position = 0;
    bool hasTwin = false;
    RowNumbers items;  ///< the rows of an array's items
  };
  struct Key {
    Value value;
    Stored row;
    std::map<std::uint64_t, Stored> entries;  ///< a dictionary's, by Dictionary::Entry::order
  };
  struct Place {
    std::int64_t parent;
    std::string_view name;
  };
  class Assembly;

  static std::vector<Row> ofKeys(std::vector<Row> rows);
  void takeLeftovers(std::vector<Row>& rows);
  void eraseEntry(Stored& entry, std::vector<RowChange>& changes);

  void stageKey(const std::string& name, Key& key, const Value& now, std::vector<RowChange>& changes);
  void stageEntries(Key& key, const Dictionary& before, const Dictionary& after, std::vector<RowChange>& changes);
  void stageItems(Stored& stored, const Array& before, const Array& after, std::vector<RowChange>& changes);
  void stageValue(const Place& place, Stored& stored, const Value& before, const Value& after,
                  std::vector<RowChange>& changes);
  void put(const Place& place, Stored& stored, Value value, std::vector<RowChange>& changes);
  Array takeRowsOfDonor(const Array& array, Stored& stored);

  std::unordered_map<std::string, Key, NameHash, std::equal_to<>> keys_;
  RowNumbers leftovers_;
  Account account_;
  std::vector<Key*> donors_;  ///< while staging: keys whose array is about to go
  std::int64_t nextNumber_ = 1;
};

}  // namespace fliprugair
