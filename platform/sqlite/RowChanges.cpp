#include "platform/sqlite/RowChanges.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <map>
#include <utility>

namespace fliprugair {

namespace {

RowRange rowsOf(const RowChange& change) {
  if (const auto* range = std::get_if<RowRange>(&change)) return *range;
  const std::int64_t id = std::get<Row>(change).id;
  return {id, id};
}

/// Numbers of rows, neighbours in one range.
class RowSet {
 public:
  bool contains(const RowRange& rows) const {
    const auto next = ranges_.upper_bound(rows.first);
    return next != ranges_.begin() && std::prev(next)->second >= rows.last;
  }

  void add(RowRange rows) {
    auto range = ranges_.upper_bound(rows.first);
    if (range != ranges_.begin() && std::prev(range)->second >= rows.first - 1) --range;
    while (range != ranges_.end() && range->first <= rows.last + 1) {
      rows = {std::min(rows.first, range->first), std::max(rows.last, range->second)};
      range = ranges_.erase(range);
    }
    ranges_.emplace(rows.first, rows.last);
  }

 private:
  std::map<std::int64_t, std::int64_t> ranges_;  ///< the last number by the first
};

}  // namespace

void leaveOutUndone(std::vector<RowChange>& changes) {
  RowSet later;
  std::vector<bool> isUndone(changes.size());
  for (std::size_t index = changes.size(); index-- > 0;) {
    const RowRange rows = rowsOf(changes[index]);
    isUndone[index] = later.contains(rows);
    if (!isUndone[index]) later.add(rows);
  }
  // Nothing fails from here on.
  auto flag = isUndone.begin();
  std::erase_if(changes, [&](const RowChange&) { return *flag++; });
}

}  // namespace fliprugair
