#include "platform/virtual/VirtualStore.h"

namespace fliprugair {

void VirtualStore::setObject(Value value, std::string_view key) {
  update(key, [&](const Value&) { return value; });
}

void VirtualStore::update(std::string_view key, const std::function<Value(const Value&)>& change) {
  const std::lock_guard lock(writing_);
  const Dictionary values = values_.load();
  const Value before = values[key];
  const Value after = change(before);
  values_.store(after.isNull() ? values.removing(key) : values.setting(key, after));
  if (observer_) observer_(key, before, after);
}

}  // namespace fliprugair
