#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "platform/sqlite/Row.h"
#include "platform/sqlite/RowNumbers.h"

namespace fliprugair {

/// What a store's file holds. The items of an array that is an entry of a key's dictionary may have been left in the
/// file: then their rows are not among `rows`.
struct StoredRows {
  struct LeftItems {
    RowNumbers rows;
    std::size_t depth = 0;  ///< no item nests deeper
  };

  std::vector<Row> rows = {};
  std::unordered_map<std::int64_t, LeftItems> left = {};  ///< by the number of the array's own row
  bool mayHaveLeftovers = false;                          ///< among `rows`
  RowNumbers leftovers = {};                              ///< items of arrays that are gone
  std::int64_t newestNumber = 0;                          ///< of a row that is gone and has some
};

}  // namespace fliprugair
