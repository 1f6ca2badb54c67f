#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace fliprugair {

/// Which bytes of a table's page have a use: what the page says of itself must come to the same. A count that is too
/// small hides rows, and where free room is said to be in the wrong place the next row is written over another. Owned
/// by who made it.
class PageRoom {
 public:
  void clear() { used_.clear(); }

  /// A cell stands from `begin` to `end`.
  void add(std::size_t begin, std::size_t end) { used_.push_back({begin, end}); }

  /// Whether the cells and the free room of `page` take all of it, each byte once. Its own header begins at `header`
  /// and has `ownSize` bytes.
  bool isAll(std::string_view page, std::size_t header, std::size_t ownSize);

 private:
  struct Span {
    std::size_t begin;
    std::size_t end;
  };

  bool addFree(std::string_view page, std::size_t place);

  std::vector<Span> used_;
};

}  // namespace fliprugair
