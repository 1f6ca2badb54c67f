#include "Fliprugair/platform/JSONSerialization.h"

#include <cmath>
#include <utility>
#include <vector>

namespace fliprugair {

namespace {

Value withoutUnwritableNumbers(const Value& value) {
  if (value.isArray()) {
    std::vector<Value> items;
    for (const Value& item : value.array()) items.push_back(withoutUnwritableNumbers(item));
    return Array(std::move(items));
  }
  if (value.isDictionary()) {
    Dictionary pairs;
    for (const auto& entry : value.dictionary().entries()) {
      pairs = pairs.setting(entry.name, withoutUnwritableNumbers(entry.value));
    }
    return pairs;
  }
  if (value.kind() == Value::Kind::real && !std::isfinite(value.realValue())) return nullptr;
  return value;
}

}  // namespace

std::string JSONSerialization::textOfAny(const Value& value, Layout layout) const {
  if (auto exact = text(value, layout)) return *std::move(exact);
  return text(withoutUnwritableNumbers(value), layout).value_or("null");
}

Value JSONSerialization::unread(std::string_view text, std::size_t /*depth*/) const {
  return value(text).value_or(Value());
}

}  // namespace fliprugair
