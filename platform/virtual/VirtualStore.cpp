#include "platform/virtual/VirtualStore.h"

namespace fliprugair {

void VirtualStore::setObject(Value value, std::string_view key) {
  update(key, [&](const Value&) { return value; });
}

void VirtualStore::update(std::string_view key, const std::function<Value(const Value&)>& change) {
  const std::lock_guard lock(writing_);
  const Dictionary values = values_.load();
  Value value = change(values[key]);
  values_.store(value.isNull() ? values.removing(key) : values.setting(key, std::move(value)));
}

}  // namespace fliprugair
