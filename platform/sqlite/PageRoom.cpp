#include "platform/sqlite/PageRoom.h"

#include <algorithm>

#include "platform/sqlite/BigEndian.h"

namespace fliprugair {

/// As laid down in SQLite's file format: behind the header stand the places of the cells, and nothing more until the
/// cells and the free blocks begin; between those are fragments of a few bytes.
bool PageRoom::isAll(std::string_view page, std::size_t header, std::size_t ownSize) {
  const std::size_t cells = used_.size();
  std::size_t end = bigEndian<2>(page, header + 5);
  if (end < header + ownSize + 2 * cells || end > page.size()) return false;
  if (cells != bigEndian<2>(page, header + 3) || !addFree(page, bigEndian<2>(page, header + 1))) return false;
  std::sort(used_.begin(), used_.end(), [](const Span& left, const Span& right) { return left.begin < right.begin; });
  std::size_t fragments = 0;
  for (const Span& span : used_) {
    if (span.begin < end) return false;
    fragments += span.begin - end;
    end = span.end;
  }
  return end <= page.size() && fragments + (page.size() - end) == bigEndian<1>(page, header + 7);
}

/// A free block names the next one, which stands behind it.
bool PageRoom::addFree(std::string_view page, std::size_t place) {
  while (place != 0) {
    constexpr std::size_t smallest = 4;
    if (place + smallest > page.size()) return false;
    const std::size_t next = bigEndian<2>(page, place);
    const std::size_t size = bigEndian<2>(page, place + 2);
    if (size < smallest || (next != 0 && next < place + size)) return false;
    add(place, place + size);
    place = next;
  }
  return true;
}

}  // namespace fliprugair
