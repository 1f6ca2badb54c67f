#include <algorithm>

#include "Fliprugair/platform/Value.h"
#include "platform/Nesting.h"

namespace fliprugair {

namespace {

/// Every chunk but the last is full, so an index finds its chunk by division. Appending copies one chunk and the list
/// of chunks: a few hundred reference counts at ten thousand items.
constexpr std::size_t chunkSize = 64;

using Chunk = std::vector<Value>;

}  // namespace

struct Array::Node {
  std::vector<std::shared_ptr<const Chunk>> chunks;
  std::size_t size = 0;
  std::size_t depth = 1;
};

Array::Array(std::vector<Value> items) {
  if (items.empty()) return;
  auto node = std::make_shared<Node>();
  node->size = items.size();
  for (Value& item : items) node->depth = std::max(node->depth, depthAround(item));
  if (items.size() <= chunkSize) {
    node->chunks.push_back(std::make_shared<const Chunk>(std::move(items)));
  } else {
    for (std::size_t begin = 0; begin < items.size(); begin += chunkSize) {
      const auto first = items.begin() + static_cast<std::ptrdiff_t>(begin);
      const auto count = static_cast<std::ptrdiff_t>(std::min(chunkSize, items.size() - begin));
      node->chunks.push_back(
          std::make_shared<const Chunk>(std::make_move_iterator(first), std::make_move_iterator(first + count)));
    }
  }
  node_ = std::move(node);
}

Array::Array(std::initializer_list<Value> items) : Array(std::vector<Value>(items)) {}

std::size_t Array::size() const { return node_ ? node_->size : 0; }

std::size_t Array::depth() const { return node_ ? node_->depth : 1; }

const Value& Array::operator[](std::size_t index) const {
  return (*node_->chunks[index / chunkSize])[index % chunkSize];
}

Array Array::appending(Value item) const {
  auto node = node_ ? std::make_shared<Node>(*node_) : std::make_shared<Node>();
  const bool lastIsFull = node->size % chunkSize == 0;
  auto last = std::make_shared<Chunk>();
  if (lastIsFull) {
    node->chunks.emplace_back();
  } else {
    last->reserve(node->chunks.back()->size() + 1);
    *last = *node->chunks.back();
  }
  node->depth = std::max(node->depth, depthAround(item));
  last->push_back(std::move(item));
  node->chunks.back() = std::move(last);
  ++node->size;
  Array result;
  result.node_ = std::move(node);
  return result;
}

bool Array::containsText(std::string_view text) const {
  for (const Value& item : *this) {
    if (item.isText() && item.text() == text) return true;
  }
  return false;
}

std::size_t Array::sharedPrefix(const Array& other) const {
  if (node_ == other.node_) return size();
  if (!node_ || !other.node_) return 0;
  const std::size_t common = std::min(size(), other.size());
  std::size_t index = 0;
  while (index < common) {
    if (node_->chunks[index / chunkSize] == other.node_->chunks[index / chunkSize]) {
      index = std::min(common, index + chunkSize);
    } else {
      const std::size_t chunkEnd = std::min(common, index + chunkSize);
      for (; index < chunkEnd; ++index) {
        if (!(*this)[index].isSameObject(other[index])) return index;
      }
    }
  }
  return common;
}

bool operator==(const Array& left, const Array& right) {
  if (left.node_ == right.node_) return true;
  if (left.size() != right.size()) return false;
  for (std::size_t index = 0; index < left.size(); ++index) {
    if (!(left[index] == right[index])) return false;
  }
  return true;
}

}  // namespace fliprugair
