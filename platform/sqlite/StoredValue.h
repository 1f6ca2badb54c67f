#pragma once

#include <memory>
#include <optional>
#include <string>
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

/// What stands in the row of a value. Owned by who made it.
class StoredText {
 public:
  explicit StoredText(const Value& value)
      : kept_(UnreadValue::textOf(value)), made_(kept_ ? std::string() : RapidJSONSerialization().textOfAny(value)) {}

  std::string_view view() const { return kept_ ? *kept_ : made_; }

 private:
  std::shared_ptr<const std::string> kept_;
  std::string made_;
};

}  // namespace fliprugair
