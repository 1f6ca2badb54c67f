#include <algorithm>
#include <limits>
#include <utility>

#include "Fliprugair/platform/Text.h"
#include "Fliprugair/platform/Value.h"
#include "platform/Nesting.h"

namespace fliprugair {

namespace {

/// Up to this many entries, as in every request, stand in one node. Where there are more they are spread by the hashes
/// of their keys, so that a change copies a node of each level: some fifty references at ten thousand entries.
constexpr std::size_t leafSize = 32;
constexpr unsigned bitsOfLevel = 3;
constexpr std::size_t fanOut = 1U << bitsOfLevel;
/// Beyond them a hash has hardly anything left to tell keys apart.
constexpr unsigned levels = std::numeric_limits<std::size_t>::digits / bitsOfLevel;

std::size_t hashOf(std::string_view key) noexcept { return std::hash<std::string_view>{}(key); }

std::size_t partOf(std::size_t hash, unsigned level) noexcept { return (hash >> (level * bitsOfLevel)) % fanOut; }

using Found = std::vector<const Dictionary::Entry*>;

void sortByOrder(Found& entries) {
  std::sort(entries.begin(), entries.end(),
            [](const Dictionary::Entry* left, const Dictionary::Entry* right) { return left->order < right->order; });
}

std::vector<Dictionary::Entry> copied(const Found& entries) {
  std::vector<Dictionary::Entry> copies;
  copies.reserve(entries.size());
  for (const Dictionary::Entry* entry : entries) copies.push_back(*entry);
  return copies;
}

}  // namespace

/// A leaf, which has entries in the order of insertion, or a branch, which has parts; shared and immutable as soon as
/// another dictionary has it. `Entry::order` restores the order across leaves.
struct Dictionary::Node {
  std::vector<Entry> entries;
  std::vector<std::shared_ptr<Node>> parts;

  // Of the node that is a dictionary's own.
  std::size_t size = 0;
  std::uint64_t nextOrder = 0;
  std::size_t depth = 1;

  /// From a node of `level` on, on the way of `key`.
  const Entry* find(std::string_view key, unsigned level = 0) const noexcept {
    const Node* leaf = this;
    if (!parts.empty()) {
      const std::size_t hash = hashOf(key);
      for (; !leaf->parts.empty(); ++level) leaf = leaf->parts[partOf(hash, level)].get();
    }
    for (const Entry& entry : leaf->entries) {
      if (entry.name == key) return &entry;
    }
    return nullptr;
  }

  /// Whether the very same entry is here: in the same place, under the same name, the same object.
  bool has(const Entry& entry, unsigned level) const noexcept {
    const Entry* known = find(entry.name, level);
    return known != nullptr && known->order == entry.order && known->value.isSameObject(entry.value);
  }

  enum class Parts { own, shared };

  /// In the place of the entry with its key, else at the end. Nobody else has this node; parts that others have are
  /// copied on the way.
  void put(std::string_view key, Value&& value, Parts owned) {
    depth = std::max(depth, depthAround(value));
    const auto name = std::make_shared<const std::string>(validUtf8(std::string(key)));
    if (!put(Entry(*name, name, std::move(value), nextOrder), owned, 0)) return;
    ++nextOrder;
    ++size;
  }

  /// `key` is here, and nobody else has this node.
  void remove(std::string_view key) {
    --size;
    Node* leaf = this;
    for (unsigned level = 0; !leaf->parts.empty(); ++level) leaf = leaf->partToChange(key, Parts::shared, level);
    const auto place =
        std::find_if(leaf->entries.begin(), leaf->entries.end(), [&](const Entry& entry) { return entry.name == key; });
    leaf->entries.erase(place);
  }

  void collect(Found& found) const {
    for (const Entry& entry : entries) found.push_back(&entry);
    for (const auto& part : parts) part->collect(found);
  }

  /// Those that another dictionary has not. `counterpart` is where it has the keys that are here: its node in this
  /// place, or a leaf above; null when it is empty. A node that both have is passed over.
  void collectMissing(const Node* counterpart, unsigned level, Found& found) const {
    if (this == counterpart) return;
    for (const Entry& entry : entries) {
      if (counterpart == nullptr || !counterpart->has(entry, level)) found.push_back(&entry);
    }
    const bool isPaired = counterpart != nullptr && !counterpart->parts.empty();
    for (std::size_t index = 0; index < parts.size(); ++index) {
      parts[index]->collectMissing(isPaired ? counterpart->parts[index].get() : counterpart, level + 1, found);
    }
  }

 private:
  Node* partToChange(std::string_view key, Parts owned, unsigned level) {
    std::shared_ptr<Node>& part = parts[partOf(hashOf(key), level)];
    if (owned == Parts::shared) part = std::make_shared<Node>(*part);
    return part.get();
  }

  /// Whether the key is new.
  bool put(const Entry& entry, Parts owned, unsigned level) {
    if (!parts.empty()) return partToChange(entry.name, owned, level)->put(entry, owned, level + 1);
    for (Entry& known : entries) {
      if (known.name != entry.name) continue;
      known.value = entry.value;
      return false;
    }
    entries.push_back(entry);
    if (entries.size() > leafSize && level < levels) split(level);
    return true;
  }

  void split(unsigned level) {
    while (parts.size() < fanOut) parts.push_back(std::make_shared<Node>());
    for (const Entry& entry : entries) parts[partOf(hashOf(entry.name), level)]->entries.push_back(entry);
    entries = {};
  }
};

Dictionary::Dictionary(std::vector<std::pair<std::string, Value>> pairs) {
  if (pairs.empty()) return;
  auto node = std::make_shared<Node>();
  node->entries.reserve(std::min(pairs.size(), leafSize));
  for (auto& [key, value] : pairs) node->put(key, std::move(value), Node::Parts::own);
  node_ = std::move(node);
}

/// Of `entries` with different keys, each at its order.
Dictionary Dictionary::of(std::vector<Entry> entries, std::size_t depth) {
  Dictionary result;
  if (entries.empty()) return result;
  auto node = std::make_shared<Node>();
  node->size = node->nextOrder = entries.size();
  node->entries = std::move(entries);
  node->depth = depth;
  result.node_ = std::move(node);
  return result;
}

std::size_t Dictionary::size() const noexcept { return node_ ? node_->size : 0; }

std::size_t Dictionary::depth() const noexcept { return node_ ? node_->depth : 1; }

const Dictionary::Entry* Dictionary::find(std::string_view key) const noexcept {
  return node_ ? node_->find(key) : nullptr;
}

Value Dictionary::operator[](std::string_view key) const noexcept {
  const Entry* entry = find(key);
  return entry != nullptr ? entry->value : Value();
}

bool Dictionary::holds(std::string_view key) const noexcept { return find(key) != nullptr; }

Dictionary Dictionary::setting(std::string_view key, Value value) const {
  auto node = node_ ? std::make_shared<Node>(*node_) : std::make_shared<Node>();
  node->put(key, std::move(value), Node::Parts::shared);
  Dictionary result;
  result.node_ = std::move(node);
  return result;
}

Dictionary Dictionary::removing(std::string_view key) const {
  if (!holds(key)) return *this;
  auto node = std::make_shared<Node>(*node_);
  node->remove(key);
  Dictionary result;
  result.node_ = std::move(node);
  return result;
}

Dictionary::Entries Dictionary::entries() const {
  Entries result;
  if (!node_) return result;
  result.keepsAlive_ = node_;
  result.size_ = node_->size;
  if (node_->parts.empty()) {
    result.first_ = node_->entries.data();
    return result;
  }
  result.order_.reserve(node_->size);
  node_->collect(result.order_);
  sortByOrder(result.order_);
  return result;
}

Dictionary::Difference Dictionary::difference(const Dictionary& before, const Dictionary& after) {
  const auto missing = [](const Dictionary& from, const Dictionary& in) {
    Found found;
    if (from.node_) from.node_->collectMissing(in.node_.get(), 0, found);
    return found;
  };
  Found added = missing(after, before);
  sortByOrder(added);
  return {copied(missing(before, after)), copied(added)};
}

Value::Value(std::initializer_list<std::pair<std::string_view, Value>> pairs) {
  Dictionary dictionary;
  if (pairs.size() > 0) {
    auto node = std::make_shared<Dictionary::Node>();
    node->entries.reserve(std::min(pairs.size(), leafSize));
    for (const auto& [key, value] : pairs) node->put(key, Value(value), Dictionary::Node::Parts::own);
    dictionary.node_ = std::move(node);
  }
  *this = std::move(dictionary);
}

}  // namespace fliprugair
