#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Fliprugair/platform/Value.h"

namespace fliprugair {

/// A dictionary or an array that stays JSON text until somebody looks into it; then it is read, each time anew. Of a
/// hundred thousand records that wait the text is all that is needed: they are sent as it.
class UnreadValue {
 public:
  /// Reads compact JSON text. Null when that is not possible.
  using Read = Value (*)(std::string_view text);

  /// None when `text` is none of a dictionary or an array, of an empty one, or of one that nests deeper than
  /// Value::deepest.
  static std::optional<Value> of(std::string_view text, Read read);

  /// The text of an unread value; null of every other one. Valid as long as the value.
  static const std::string* textOf(const Value& value);
};

struct Value::Unread {
  std::string text;
  UnreadValue::Read read;
  Kind kind;
  std::size_t depth;
};

}  // namespace fliprugair
