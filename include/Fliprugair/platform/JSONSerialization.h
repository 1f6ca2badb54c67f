#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "Fliprugair/platform/Export.h"
#include "Fliprugair/platform/Value.h"

namespace fliprugair {

/// JSON text, straight to and from values. Any thread.
class FLIPRUGAIR_EXPORT JSONSerialization {
 public:
  /// Deeper nesting is refused.
  static constexpr std::size_t defaultDepth = Value::deepest;

  enum class Layout {
    compact,  ///< no blanks
    pretty,   ///< a member a line, four blanks a level
  };

  virtual ~JSONSerialization() = default;

  /// Keys in the dictionary's order, "/" not escaped, characters outside ASCII as they are.
  /// None when a number in `value` is none of JSON's (infinite, not a number).
  virtual std::optional<std::string> text(const Value& value, Layout layout = Layout::compact) const = 0;

  /// The text of whatever there is: null stands for a number that is none of JSON's.
  std::string textOfAny(const Value& value, Layout layout = Layout::compact) const;

  /// The value of `text`; JSON null is null. Invalid UTF-8 is replaced by U+FFFD; integers beyond 64 bits are reals.
  /// Reads whatever `text` and `textOfAny` write. None when it is not one JSON text, or arrays and objects nest deeper
  /// than `depth`, which is at most Value::deepest.
  virtual std::optional<Value> value(std::string_view text, std::size_t depth = defaultDepth) const = 0;

  /// The dictionary of `text`, which is compact text of one that is not empty and nests `depth` levels. It may be read
  /// only when somebody looks into it, each time anew, and be written as its text.
  virtual Value unread(std::string_view text, std::size_t depth) const;
};

}  // namespace fliprugair
