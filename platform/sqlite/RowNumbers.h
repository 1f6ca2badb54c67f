#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/sqlite/Row.h"

namespace fliprugair {

/// Numbers of rows in their order, as those of an array's items. Neighbours stand together as a range: the records of a
/// batch have been written one after the other.
class RowNumbers {
 public:
  const std::vector<RowRange>& ranges() const { return ranges_; }
  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }

  void add(std::int64_t id);

  /// Those of `other` behind these.
  void append(const RowNumbers& other);

  /// Takes those from the place `begin` to `end` out and appends them to `changes`, as rows to be removed.
  void erase(std::size_t begin, std::size_t end, std::vector<RowChange>& changes);

  friend bool operator==(const RowNumbers&, const RowNumbers&) = default;

 private:
  std::vector<RowRange> ranges_;
  std::size_t size_ = 0;
};

}  // namespace fliprugair
