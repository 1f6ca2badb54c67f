#include <algorithm>
#include <unordered_map>

#include "Fliprugair/platform/Text.h"
#include "Fliprugair/platform/Value.h"
#include "platform/Nesting.h"

namespace fliprugair {

namespace {

/// Up to this many entries, as in every request, stand in the node itself. More of them are spread over buckets, and
/// the buckets over groups, so that a change copies the list of groups, one group and one bucket: about a hundred
/// references at ten thousand entries.
constexpr std::size_t shortSize = 32;
constexpr std::size_t bucketLoad = 16;  ///< entries on average, at most
constexpr std::size_t groupSize = 32;
constexpr std::size_t growth = 4;

using Bucket = std::vector<Dictionary::Entry>;
using Group = std::vector<std::shared_ptr<const Bucket>>;

void sortByOrder(std::vector<const Dictionary::Entry*>& entries) {
  std::sort(entries.begin(), entries.end(),
            [](const Dictionary::Entry* left, const Dictionary::Entry* right) { return left->order < right->order; });
}

std::vector<Dictionary::Entry> copied(const std::vector<const Dictionary::Entry*>& entries) {
  std::vector<Dictionary::Entry> copies;
  copies.reserve(entries.size());
  for (const Dictionary::Entry* entry : entries) copies.push_back(*entry);
  return copies;
}

}  // namespace

/// Entries, shared and immutable. Inside a bucket they stand in the order of insertion; `Entry::order` restores that
/// order across buckets. A short dictionary is one bucket.
struct Dictionary::Node {
  Bucket own;                                        ///< of a short dictionary
  std::vector<std::shared_ptr<const Group>> groups;  ///< of a long one
  std::size_t bucketCount = 1;
  std::size_t size = 0;
  std::uint64_t nextOrder = 0;
  std::size_t depth = 1;

  std::size_t bucketIndex(std::string_view key) const {
    return bucketCount == 1 ? 0 : std::hash<std::string_view>{}(key) % bucketCount;
  }
  std::size_t roomFor() const { return groups.empty() ? shortSize : bucketCount * bucketLoad; }

  const Bucket& bucket(std::size_t index) const {
    return groups.empty() ? own : *(*groups[index / groupSize])[index % groupSize];
  }

  const Entry* find(std::string_view key, std::size_t index) const {
    for (const Entry& entry : bucket(index)) {
      if (entry.name == key) return &entry;
    }
    return nullptr;
  }

  /// Whether the very same entry is here: in the same place, under the same name, the same object.
  bool has(const Entry& entry) const {
    const Bucket& entries = bucket(bucketIndex(entry.name));
    return std::any_of(entries.begin(), entries.end(), [&](const Entry& other) {
      return other.order == entry.order && other.value.isSameObject(entry.value) && other.name == entry.name;
    });
  }

  /// The entries that `other`, which may be null, has not; groups and buckets that both share are passed over.
  std::vector<const Entry*> entriesNotIn(const Node* other) const {
    std::vector<const Entry*> found;
    const auto look = [&](const Bucket& bucket) {
      for (const Entry& entry : bucket) {
        if (other == nullptr || !other->has(entry)) found.push_back(&entry);
      }
    };
    look(own);
    const bool hasSameLayout = other != nullptr && other->bucketCount == bucketCount;
    for (std::size_t group = 0; group < groups.size(); ++group) {
      if (hasSameLayout && groups[group] == other->groups[group]) continue;
      for (std::size_t index = 0; index < groups[group]->size(); ++index) {
        const std::shared_ptr<const Bucket>& bucket = (*groups[group])[index];
        if (!hasSameLayout || bucket != (*other->groups[group])[index]) look(*bucket);
      }
    }
    return found;
  }

  std::shared_ptr<Node> replacing(std::size_t index, Bucket bucket) const {
    auto node = std::make_shared<Node>();
    node->bucketCount = bucketCount;
    node->size = size;
    node->nextOrder = nextOrder;
    node->depth = depth;
    if (groups.empty()) {
      node->own = std::move(bucket);
      return node;
    }
    node->groups = groups;
    auto& place = node->groups[index / groupSize];
    auto group = std::make_shared<Group>(*place);
    (*group)[index % groupSize] = std::make_shared<const Bucket>(std::move(bucket));
    place = std::move(group);
    return node;
  }
};

Dictionary::Dictionary(std::vector<std::pair<std::string, Value>> pairs) {
  std::vector<Entry> entries;
  entries.reserve(pairs.size());
  std::size_t depth = 1;
  std::unordered_map<std::string_view, std::size_t> places;  // of a long list
  const bool mayBeLong = pairs.size() > shortSize;
  const auto placeOf = [&](std::string_view name) {
    if (mayBeLong) {
      const auto place = places.find(name);
      return place != places.end() ? place->second : entries.size();
    }
    const auto place =
        std::find_if(entries.begin(), entries.end(), [&](const Entry& entry) { return entry.name == name; });
    return static_cast<std::size_t>(place - entries.begin());
  };
  for (auto& pair : pairs) {
    pair.first = validUtf8(std::move(pair.first));
    depth = std::max(depth, depthAround(pair.second));
    const std::size_t place = placeOf(pair.first);
    if (place < entries.size()) {
      entries[place].value = std::move(pair.second);
      continue;
    }
    auto key = std::make_shared<const std::string>(std::move(pair.first));
    if (mayBeLong) places.emplace(*key, place);
    entries.emplace_back(*key, key, std::move(pair.second), place);
  }
  *this = distributed(std::move(entries), depth);
}

/// A dictionary of `entries`, which stand in their order and have different keys.
Dictionary Dictionary::distributed(std::vector<Entry> entries, std::size_t depth) {
  if (entries.empty()) return {};
  auto node = std::make_shared<Node>();
  node->depth = depth;
  node->size = entries.size();
  node->nextOrder = entries.back().order + 1;
  if (entries.size() <= shortSize) {
    node->own = std::move(entries);
  } else {
    while (entries.size() > node->bucketCount * bucketLoad) node->bucketCount *= growth;
    std::vector<Bucket> buckets(node->bucketCount);
    for (Entry& entry : entries) buckets[node->bucketIndex(entry.name)].push_back(std::move(entry));
    for (std::size_t begin = 0; begin < buckets.size(); begin += groupSize) {
      auto group = std::make_shared<Group>();
      for (std::size_t index = begin; index < std::min(begin + groupSize, buckets.size()); ++index) {
        group->push_back(std::make_shared<const Bucket>(std::move(buckets[index])));
      }
      node->groups.push_back(std::move(group));
    }
  }
  Dictionary result;
  result.node_ = std::move(node);
  return result;
}

std::size_t Dictionary::size() const noexcept { return node_ ? node_->size : 0; }

std::size_t Dictionary::depth() const noexcept { return node_ ? node_->depth : 1; }

const Dictionary::Entry* Dictionary::find(std::string_view key) const noexcept {
  return node_ ? node_->find(key, node_->bucketIndex(key)) : nullptr;
}

Value Dictionary::operator[](std::string_view key) const noexcept {
  const Entry* entry = find(key);
  return entry != nullptr ? entry->value : Value();
}

bool Dictionary::holds(std::string_view key) const noexcept { return find(key) != nullptr; }

Dictionary Dictionary::setting(std::string_view given, Value value) const {
  std::string key = validUtf8(std::string(given));
  if (!node_) return Dictionary({{std::move(key), std::move(value)}});
  const std::size_t depth = std::max(node_->depth, depthAround(value));
  const std::size_t index = node_->bucketIndex(key);
  const Entry* known = node_->find(key, index);
  const Bucket& before = node_->bucket(index);
  Bucket bucket;
  bucket.reserve(before.size() + 1);
  bucket = before;
  if (known != nullptr) {
    bucket[static_cast<std::size_t>(known - before.data())].value = std::move(value);
  } else {
    auto owner = std::make_shared<const std::string>(std::move(key));
    bucket.emplace_back(*owner, owner, std::move(value), node_->nextOrder);
  }
  const auto node = node_->replacing(index, std::move(bucket));
  node->depth = depth;
  Dictionary result;
  result.node_ = node;
  if (known != nullptr) return result;
  ++node->nextOrder;
  if (++node->size <= node->roomFor()) return result;
  std::vector<Entry> all;
  all.reserve(result.size());
  for (const Entry& entry : result.entries()) all.push_back(entry);
  return distributed(std::move(all), depth);
}

Dictionary Dictionary::removing(std::string_view key) const {
  const Entry* entry = find(key);
  if (entry == nullptr) return *this;
  const std::size_t index = node_->bucketIndex(entry->name);
  const Bucket& before = node_->bucket(index);
  Bucket bucket = before;
  bucket.erase(bucket.begin() + (entry - before.data()));
  const auto node = node_->replacing(index, std::move(bucket));
  --node->size;
  Dictionary result;
  result.node_ = node;
  return result;
}

Dictionary::Entries Dictionary::entries() const {
  Entries result;
  if (!node_) return result;
  result.keepsAlive_ = node_;
  result.size_ = node_->size;
  if (node_->bucketCount == 1) {
    result.first_ = node_->bucket(0).data();
    return result;
  }
  result.order_.reserve(node_->size);
  for (std::size_t index = 0; index < node_->bucketCount; ++index) {
    for (const Entry& entry : node_->bucket(index)) result.order_.push_back(&entry);
  }
  sortByOrder(result.order_);
  return result;
}

Dictionary::Difference Dictionary::difference(const Dictionary& before, const Dictionary& after) {
  if (before.node_ == after.node_) return {};
  const auto missing = [](const Dictionary& from, const Dictionary& in) {
    return from.node_ ? from.node_->entriesNotIn(in.node_.get()) : std::vector<const Entry*>();
  };
  std::vector<const Entry*> added = missing(after, before);
  sortByOrder(added);
  return {copied(missing(before, after)), copied(added)};
}

Value::Value(std::initializer_list<std::pair<std::string_view, Value>> pairs) {
  std::vector<std::pair<std::string, Value>> owned(pairs.size());
  std::copy(pairs.begin(), pairs.end(), owned.begin());
  *this = Dictionary(std::move(owned));
}

}  // namespace fliprugair
