#include <algorithm>

#include "platform/Value.h"

namespace fliprugair {

namespace {

/// Up to this many entries on average in a bucket. One bucket holds a whole request; a queue of ten thousand is a few
/// hundred buckets, and a change copies one of them and the list of buckets.
constexpr std::size_t bucketLoad = 32;
constexpr std::size_t growth = 4;

using Bucket = std::vector<Dictionary::Entry>;

std::uint32_t hashOf(std::string_view key) {
  const std::size_t hash = std::hash<std::string_view>{}(key);
  return static_cast<std::uint32_t>(hash ^ (hash >> 32));
}

bool byOrder(const Dictionary::Entry& left, const Dictionary::Entry& right) { return left.order < right.order; }

}  // namespace

/// Entries spread by the hash of their keys over shared immutable buckets. Inside a bucket they stand in the order of
/// insertion; `Entry::order` restores that order across buckets.
struct Dictionary::Node {
  std::vector<std::shared_ptr<const Bucket>> buckets;
  std::size_t size = 0;
  std::uint64_t nextOrder = 0;

  std::size_t bucketIndex(std::uint32_t hash) const { return hash % buckets.size(); }
};

Dictionary::Dictionary(std::vector<std::pair<std::string, Value>> pairs) {
  std::vector<Entry> entries;
  entries.reserve(pairs.size());
  const bool mayBeLong = pairs.size() > bucketLoad;
  for (auto& pair : pairs) {
    const std::uint32_t hash = hashOf(pair.first);
    const auto known = mayBeLong ? entries.end() : std::ranges::find_if(entries, [&](const Entry& entry) {
      return entry.hash == hash && entry.key() == pair.first;
    });
    if (known != entries.end()) {
      known->value = std::move(pair.second);
    } else {
      auto key = std::make_shared<const std::string>(std::move(pair.first));
      entries.push_back({std::move(key), std::move(pair.second), hash, entries.size()});
    }
  }
  if (entries.empty()) return;
  if (mayBeLong) {
    // Long lists look for repeated keys after sorting, so that their number does not matter.
    std::ranges::stable_sort(entries, {}, [](const Entry& entry) -> const std::string& { return entry.key(); });
    std::vector<Entry> unique;
    unique.reserve(entries.size());
    for (Entry& entry : entries) {
      if (!unique.empty() && unique.back().key() == entry.key()) {
        unique.back().value = std::move(entry.value);
      } else {
        unique.push_back(std::move(entry));
      }
    }
    std::ranges::sort(unique, byOrder);
    entries = std::move(unique);
  }
  *this = distributed(std::move(entries));
}

/// A dictionary of `entries`, which stand in their order and have different keys.
Dictionary Dictionary::distributed(std::vector<Entry> entries) {
  auto node = std::make_shared<Node>();
  node->size = entries.size();
  node->nextOrder = entries.empty() ? 0 : entries.back().order + 1;
  std::size_t bucketCount = 1;
  while (entries.size() > bucketCount * bucketLoad) bucketCount *= growth;
  if (bucketCount == 1) {
    node->buckets.push_back(std::make_shared<const Bucket>(std::move(entries)));
  } else {
    std::vector<Bucket> buckets(bucketCount);
    for (Entry& entry : entries) buckets[entry.hash % bucketCount].push_back(std::move(entry));
    node->buckets.reserve(bucketCount);
    for (Bucket& bucket : buckets) node->buckets.push_back(std::make_shared<const Bucket>(std::move(bucket)));
  }
  Dictionary result;
  result.node_ = std::move(node);
  return result;
}

std::size_t Dictionary::size() const { return node_ ? node_->size : 0; }

const Dictionary::Entry* Dictionary::find(std::string_view key) const {
  if (!node_) return nullptr;
  const std::uint32_t hash = hashOf(key);
  const Bucket& bucket = *node_->buckets[node_->bucketIndex(hash)];
  const auto entry = std::ranges::find_if(
      bucket, [&](const Entry& candidate) { return candidate.hash == hash && candidate.key() == key; });
  return entry == bucket.end() ? nullptr : &*entry;
}

Value Dictionary::operator[](std::string_view key) const {
  const Entry* entry = find(key);
  return entry != nullptr ? entry->value : Value();
}

bool Dictionary::holds(std::string_view key) const { return find(key) != nullptr; }

Dictionary Dictionary::setting(std::string_view key, Value value) const {
  if (!node_) return Dictionary({{std::string(key), std::move(value)}});
  const std::uint32_t hash = hashOf(key);
  const std::size_t index = node_->bucketIndex(hash);
  auto bucket = std::make_shared<Bucket>();
  bucket->reserve(node_->buckets[index]->size() + 1);
  *bucket = *node_->buckets[index];
  auto node = std::make_shared<Node>(*node_);
  const auto known =
      std::ranges::find_if(*bucket, [&](const Entry& entry) { return entry.hash == hash && entry.key() == key; });
  if (known != bucket->end()) {
    known->value = std::move(value);
  } else {
    bucket->push_back({std::make_shared<const std::string>(key), std::move(value), hash, node->nextOrder++});
    ++node->size;
  }
  node->buckets[index] = std::move(bucket);
  Dictionary result;
  result.node_ = std::move(node);
  if (result.size() <= result.node_->buckets.size() * bucketLoad) return result;
  std::vector<Entry> all;
  all.reserve(result.size());
  for (const Entry& entry : result.entries()) all.push_back(entry);
  return distributed(std::move(all));
}

Dictionary Dictionary::removing(std::string_view key) const {
  const Entry* entry = find(key);
  if (entry == nullptr) return *this;
  auto node = std::make_shared<Node>(*node_);
  const std::size_t index = node->bucketIndex(entry->hash);
  auto bucket = std::make_shared<Bucket>(*node->buckets[index]);
  bucket->erase(bucket->begin() + (entry - node_->buckets[index]->data()));
  node->buckets[index] = std::move(bucket);
  --node->size;
  Dictionary result;
  result.node_ = std::move(node);
  return result;
}

Dictionary::Entries Dictionary::entries() const {
  Entries result;
  if (!node_) return result;
  result.keepsAlive_ = node_;
  result.order_.reserve(node_->size);
  for (const auto& bucket : node_->buckets) {
    for (const Entry& entry : *bucket) result.order_.push_back(&entry);
  }
  if (node_->buckets.size() > 1) {
    std::ranges::sort(result.order_, {}, [](const Entry* entry) { return entry->order; });
  }
  return result;
}

Dictionary::Difference Dictionary::difference(const Dictionary& before, const Dictionary& after) {
  Difference result;
  if (before.node_ == after.node_) return result;
  const auto isIn = [](const Dictionary& dictionary, const Entry& entry) {
    const Entry* other = dictionary.find(entry.key());
    return other != nullptr && other->order == entry.order && other->value.isSameObject(entry.value);
  };
  const bool sameLayout = before.node_ && after.node_ && before.node_->buckets.size() == after.node_->buckets.size();
  const auto collect = [&](const Dictionary& from, const Dictionary& against, std::vector<Entry>& into) {
    if (!from.node_) return;
    for (std::size_t index = 0; index < from.node_->buckets.size(); ++index) {
      if (sameLayout && from.node_->buckets[index] == against.node_->buckets[index]) continue;
      for (const Entry& entry : *from.node_->buckets[index]) {
        if (!isIn(against, entry)) into.push_back(entry);
      }
    }
  };
  collect(before, after, result.removed);
  collect(after, before, result.added);
  std::ranges::sort(result.added, byOrder);
  return result;
}

bool operator==(const Dictionary& left, const Dictionary& right) {
  if (left.node_ == right.node_) return true;
  if (left.size() != right.size()) return false;
  const auto leftEntries = left.entries();
  const auto rightEntries = right.entries();
  auto other = rightEntries.begin();
  for (const Dictionary::Entry& entry : leftEntries) {
    if (entry.key() != other->key() || !(entry.value == other->value)) return false;
    ++other;
  }
  return true;
}

}  // namespace fliprugair
