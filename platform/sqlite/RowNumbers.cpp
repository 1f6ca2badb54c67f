#include "platform/sqlite/RowNumbers.h"

#include <algorithm>
#include <utility>

namespace fliprugair {

namespace {

std::size_t sizeOf(const RowRange& range) { return static_cast<std::size_t>(range.last - range.first) + 1; }

/// Those of `range` from its place `begin` to `end`.
RowRange part(const RowRange& range, std::size_t begin, std::size_t end) {
  return {range.first + static_cast<std::int64_t>(begin), range.first + static_cast<std::int64_t>(end) - 1};
}

}  // namespace

void RowNumbers::add(std::int64_t id) {
  if (!ranges_.empty() && ranges_.back().last + 1 == id) {
    ++ranges_.back().last;
  } else {
    ranges_.push_back({id, id});
  }
  ++size_;
}

void RowNumbers::append(const RowNumbers& other) {
  ranges_.insert(ranges_.end(), other.ranges_.begin(), other.ranges_.end());
  size_ += other.size_;
}

void RowNumbers::erase(std::size_t begin, std::size_t end, std::vector<RowChange>& changes) {
  if (begin == end) return;
  std::vector<RowRange> left;
  std::size_t place = 0;
  for (const RowRange& range : ranges_) {
    const std::size_t size = sizeOf(range);
    const std::size_t from = std::clamp(begin, place, place + size) - place;
    const std::size_t to = std::clamp(end, place, place + size) - place;
    if (from > 0) left.push_back(part(range, 0, from));
    if (from < to) changes.emplace_back(part(range, from, to));
    if (to > from && to < size) left.push_back(part(range, to, size));
    if (to == from && from == 0) left.push_back(range);
    place += size;
  }
  ranges_ = std::move(left);
  size_ -= end - begin;
}

}  // namespace fliprugair
