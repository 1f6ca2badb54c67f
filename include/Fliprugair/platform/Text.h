#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Fliprugair/platform/Export.h"
#include "Fliprugair/platform/Value.h"

namespace fliprugair {

/// Text or null, as an argument: made from `nullptr`, a null or valid `const char*`, a string, an optional string.
/// What is not UTF-8 in it is replaced by U+FFFD.
class Text {
 public:
  Text() = default;
  Text(std::nullptr_t) {}
  Text(std::nullopt_t) {}
  Text(const char* text) : value_(text) {}
  Text(std::string text) : value_(std::move(text)) {}
  Text(std::string_view text) : value_(text) {}
  Text(const std::optional<std::string>& text) : value_(text ? Value(*text) : Value()) {}

  /// The text that `value` holds; null when it is of another kind.
  static Text of(const Value& value) noexcept {
    Text result;
    if (value.isText()) result.value_ = value;
    return result;
  }

  const Value& value() const noexcept { return value_; }
  bool isNull() const noexcept { return value_.isNull(); }
  /// "" when it is null. Valid as long as this object; of a temporary one it is a copy.
  const std::string& string() const& noexcept { return value_.text(); }
  std::string string() && { return value_.text(); }

 private:
  Value value_;
};

/// `text` with every byte sequence that is not UTF-8 replaced by U+FFFD, one for each longest invalid part.
FLIPRUGAIR_EXPORT std::string validUtf8(std::string text);

/// Whether one of Y y T t 1 to 9 follows any blanks, one sign and zeros.
FLIPRUGAIR_EXPORT bool boolOfText(std::string_view text) noexcept;

/// The decimal integer at the beginning, after any blanks and one sign: saturated at the type's bounds, 0 when there is
/// none. Exists for 32 and 64 bits.
template <class Integer>
FLIPRUGAIR_EXPORT Integer integerOfText(std::string_view text) noexcept;

/// The number at the beginning, after any blanks and one sign, in single precision; 0 when there is none.
FLIPRUGAIR_EXPORT float floatOfText(std::string_view text);

/// `number` with six digits after a point, whatever the process's locale ("%f").
FLIPRUGAIR_EXPORT std::string fixedText(double number);

/// `number` printed as a signed decimal integer ("%ld"): what lies above the signed range comes out negative.
FLIPRUGAIR_EXPORT std::string signedText(std::uint64_t number);

/// The compact base64 text of `bytes`: standard alphabet, padded, one line.
FLIPRUGAIR_EXPORT std::string base64Text(std::string_view bytes);

/// The bytes of a base64 text as base64Text makes it; none when it is malformed.
FLIPRUGAIR_EXPORT std::optional<std::string> bytesOfBase64(std::string_view text);

}  // namespace fliprugair
