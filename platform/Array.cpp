#include <algorithm>
#include <atomic>

#include "Fliprugair/platform/Value.h"
#include "platform/Nesting.h"

namespace fliprugair {

namespace {

constexpr std::size_t chunkSize = 64;

/// Items that lists share, each a beginning of them.
class Chunk {
 public:
  explicit Chunk(std::vector<Value> items) : items_(std::move(items)), used_(items_.size()) {}

  const Value& operator[](std::size_t index) const { return *(items_.data() + index); }

  /// Adds `item` behind the first `size`, unless there is no room or another list has gone on from there.
  bool goesOn(std::size_t size, Value& item) {
    if (size >= items_.capacity() || !used_.compare_exchange_strong(size, size + 1)) return false;
    items_.push_back(std::move(item));
    return true;
  }

  /// Another one, of the first `size` of these and `item`, with room for as many again.
  std::shared_ptr<Chunk> copied(std::size_t size, Value&& item) const {
    std::vector<Value> items;
    items.reserve(std::min(2 * (size + 1), chunkSize));
    items.insert(items.end(), items_.data(), items_.data() + size);
    items.push_back(std::move(item));
    return std::make_shared<Chunk>(std::move(items));
  }

 private:
  std::vector<Value> items_;
  std::atomic<std::size_t> used_;
};

using Chunks = std::vector<std::shared_ptr<Chunk>>;

}  // namespace

/// Every chunk but the last is full, so an index finds its chunk by division. Appending goes on in the last chunk of
/// the list that it appends to, or copies that.
struct Array::Node {
  std::shared_ptr<Chunks> full;  ///< null when there is none
  std::shared_ptr<Chunk> last;
  std::size_t size = 0;
  std::size_t depth = 1;

  const std::shared_ptr<Chunk>& chunk(std::size_t index) const {
    return index < (size - 1) / chunkSize ? (*full)[index] : last;
  }

  /// Nobody else has this node yet, nor its full chunks if the last one is full, too.
  void append(Value&& item) {
    depth = std::max(depth, depthAround(item));
    const std::size_t ofLast = size % chunkSize;
    if (ofLast == 0) {
      if (last) keepLast();
      last = Chunk({}).copied(0, std::move(item));
    } else if (!last->goesOn(ofLast, item)) {
      last = last->copied(ofLast, std::move(item));
    }
    ++size;
  }

 private:
  /// Counts the last chunk, which is full, among the others.
  void keepLast() {
    if (!full) full = std::make_shared<Chunks>();
    full->push_back(std::move(last));
  }
};

Array::Array(std::vector<Value> items) {
  if (items.empty()) return;
  auto node = std::make_shared<Node>();
  if (items.size() <= chunkSize) {
    for (Value& item : items) node->depth = std::max(node->depth, depthAround(item));
    node->size = items.size();
    node->last = std::make_shared<Chunk>(std::move(items));
  } else {
    for (Value& item : items) node->append(std::move(item));
  }
  node_ = std::move(node);
}

Array::Array(std::initializer_list<Value> items) : Array(std::vector<Value>(items)) {}

std::size_t Array::size() const noexcept { return node_ ? node_->size : 0; }

std::size_t Array::depth() const noexcept { return node_ ? node_->depth : 1; }

const Value& Array::operator[](std::size_t index) const noexcept {
  return (*node_->chunk(index / chunkSize))[index % chunkSize];
}

Array Array::appending(Value item) const {
  auto node = node_ ? std::make_shared<Node>(*node_) : std::make_shared<Node>();
  const bool lastIsFull = node->size % chunkSize == 0;
  if (lastIsFull && node->full)
    node->full = std::make_shared<Chunks>(*node->full);  // to leave the other one's as they are
  node->append(std::move(item));
  Array result;
  result.node_ = std::move(node);
  return result;
}

bool Array::containsText(std::string_view text) const noexcept {
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
    if (node_->chunk(index / chunkSize) == other.node_->chunk(index / chunkSize)) {
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

}  // namespace fliprugair
