#pragma once

#include <optional>
#include <string_view>

#include "platform/UnreadValue.h"
#include "platform/json/RapidJSONSerialization.h"

namespace fliprugair {

/// Reads what a row holds.
inline Value readStored(std::string_view text) { return RapidJSONSerialization().value(text).value_or(Value()); }

/// The value of a row that is what was written. A record is read when its turn has come.
inline std::optional<Value> storedValue(std::string_view text) {
  auto unread = UnreadValue::of(text, readStored);
  return unread ? std::move(unread) : RapidJSONSerialization().value(text);
}

}  // namespace fliprugair
