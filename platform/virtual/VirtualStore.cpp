#include "platform/virtual/VirtualStore.h"

#include <algorithm>
#include <vector>

namespace fliprugair {

Value VirtualStore::objectForKey(std::string_view key) const {
  const std::lock_guard lock(mutex_);
  unpack();
  const auto found = values_.find(key);
  return found == values_.end() ? Value() : found->second.value;
}

void VirtualStore::setObject(Value value, std::string_view key) {
  update(key, [&](const Value&) { return std::move(value); });
}

void VirtualStore::update(std::string_view key, const std::function<Value(const Value&)>& change) {
  std::unique_lock writing(writing_, std::defer_lock);
  if (observer_) writing.lock();
  std::unique_lock lock(mutex_);
  unpack();
  const auto found = values_.find(key);
  const bool isNew = found == values_.end();
  const Value none;
  Value changed = change(isNew ? none : found->second.value);
  const Value after = observer_ ? changed : Value();
  const bool isNone = changed.isNull();
  if (isNew && !isNone) values_.emplace(key, Stored{++lastNumber_, changed});
  const Value before = isNew ? Value() : std::exchange(found->second.value, std::move(changed));
  if (!isNew && isNone) values_.erase(found);
  lock.unlock();
  if (observer_) observer_(key, before, after);
}

Dictionary VirtualStore::all() const {
  const std::lock_guard lock(mutex_);
  return packed_.empty() ? inOrder(values_) : json_->value(packed_).value_or(Value()).dictionary();
}

Dictionary VirtualStore::inOrder(const Values& values) {
  std::vector<const Values::value_type*> keys;
  keys.reserve(values.size());
  for (const auto& key : values) keys.push_back(&key);
  std::sort(keys.begin(), keys.end(),
            [](const auto* left, const auto* right) { return left->second.number < right->second.number; });
  std::vector<std::pair<std::string, Value>> pairs;
  pairs.reserve(keys.size());
  for (const auto* key : keys) pairs.emplace_back(key->first, key->second.value);
  return Dictionary(std::move(pairs));
}

void VirtualStore::unpackAll() const {
  const Dictionary values = json_->value(packed_).value_or(Value()).dictionary();
  for (const auto& entry : values.entries()) {
    values_.insert_or_assign(std::string(entry.key()), Stored{++lastNumber_, entry.value});
  }
  packed_ = std::string();
}

void VirtualStore::pack(const JSONSerialization& json) {
  Values values;
  const std::lock_guard lock(mutex_);
  json_ = &json;
  if (!packed_.empty()) return;
  packed_ = json.textOfAny(inOrder(values_));
  packed_.shrink_to_fit();
  values.swap(values_);
}

}  // namespace fliprugair
