#pragma once

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <variant>

#include "Fliprugair/platform/Value.h"
#include "platform/sqlite/Checksum.h"

namespace fliprugair {

/// One row of the store's file. A key is a row with parent 0. The items of an array and the entries of a dictionary
/// that are stored one by one are rows whose parent is the array's or dictionary's own row, and that row holds [] or
/// {}. Rows of one parent are ordered by position.
///
/// The items of an array that was an entry of a dictionary may be there longer than the array's own row: it is enough
/// to remove that, and less than a tenth of the work.
///
/// A row that others may hang on stands twice, the second time under the negative of its number and in a table of its
/// own, so that no one page has both: the twin.
struct Row {
  std::int64_t id = 0;
  std::int64_t parent = 0;
  std::int64_t position = 0;
  std::string name;  ///< of the key or entry; empty for the item of an array
  Value value;

  /// What stands beside a row whose value is `text`.
  std::int64_t checksum(std::string_view text) const { return checksumOf(id, parent, position, name, text); }
  static std::int64_t checksumOf(std::int64_t id, std::int64_t parent, std::int64_t position, std::string_view name,
                                 std::string_view text) {
    const auto number = [](std::int64_t each) { return static_cast<std::uint64_t>(each); };
    return Checksum().add(number(id)).add(number(parent)).add(number(position)).add(name).add(text).value();
  }
};

/// Whether a row may have or name these numbers; each other one comes from damage.
inline bool areRowNumbers(std::initializer_list<std::int64_t> numbers) {
  constexpr std::int64_t most = std::int64_t{1} << 62;
  return std::all_of(numbers.begin(), numbers.end(), [](std::int64_t each) { return -most < each && each < most; });
}

/// Whether a row is the item of an array, as far as that can be seen without the array.
inline bool isItem(std::int64_t id, std::int64_t parent, std::int64_t position, std::string_view name) {
  return id > 0 && parent > 0 && position == id && name.empty();
}

/// The rows with the numbers from `first` to `last`.
struct RowRange {
  std::int64_t first;
  std::int64_t last;
  friend bool operator==(const RowRange&, const RowRange&) = default;
};

/// A row to be written, in place of one with its number if there is one, or rows to be removed.
using RowChange = std::variant<Row, RowRange>;

}  // namespace fliprugair
