#include "platform/virtual/VirtualStore.h"

#include <utility>

namespace fliprugair {

void VirtualStore::setObject(Value value, std::string_view key) {
  update(key, [&](const Value&) { return value; });
}

void VirtualStore::update(std::string_view key, const std::function<Value(const Value&)>& change) {
  const std::lock_guard writing(writing_);
  const Dictionary values = unpacked();
  const Value before = values[key];
  const Value after = change(before);
  Dictionary changed = after.isNull() ? values.removing(key) : values.setting(key, after);
  {
    const std::lock_guard lock(mutex_);
    std::swap(values_, changed);  // what was is destroyed after the lock
  }
  if (observer_) observer_(key, before, after);
}

Dictionary VirtualStore::all() const {
  const std::lock_guard lock(mutex_);
  return packed_.empty() ? values_ : json_->value(packed_).value_or(Value()).dictionary();
}

Dictionary VirtualStore::unpacked() const {
  const std::lock_guard lock(mutex_);
  if (!packed_.empty()) {
    values_ = json_->value(packed_).value_or(Value()).dictionary();
    packed_ = std::string();
  }
  return values_;
}

void VirtualStore::pack(const JSONSerialization& json) {
  const std::lock_guard writing(writing_);
  std::string text = json.textOfAny(unpacked());
  text.shrink_to_fit();
  const std::lock_guard lock(mutex_);
  json_ = &json;
  packed_ = std::move(text);
  values_ = Dictionary();
}

}  // namespace fliprugair
