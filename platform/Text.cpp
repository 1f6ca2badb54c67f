#include "Fliprugair/platform/Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <locale>
#include <sstream>

#include "platform/Digits.h"
#include "platform/PlainAscii.h"

namespace fliprugair {

namespace {

bool isDigit(char character) { return character >= '0' && character <= '9'; }

std::string_view afterBlanks(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
  return text;
}

/// Takes one sign off the beginning; whether it was a minus.
bool takeSign(std::string_view& text) {
  if (text.empty() || (text.front() != '-' && text.front() != '+')) return false;
  const bool minus = text.front() == '-';
  text.remove_prefix(1);
  return minus;
}

std::size_t digitsAt(std::string_view text, std::size_t position) {
  std::size_t end = position;
  while (end < text.size() && isDigit(text[end])) ++end;
  return end - position;
}

/// The decimal real without a sign that `text` begins with; "" when it begins with none.
std::string_view realAtBeginning(std::string_view text) {
  std::size_t end = digitsAt(text, 0);
  std::size_t digits = end;
  if (end < text.size() && text[end] == '.') {
    const std::size_t behindPoint = digitsAt(text, end + 1);
    digits += behindPoint;
    end += 1 + behindPoint;
  }
  if (digits == 0) return {};
  if (end < text.size() && (text[end] == 'e' || text[end] == 'E')) {
    const bool isSigned = end + 1 < text.size() && (text[end + 1] == '-' || text[end + 1] == '+');
    const std::size_t exponent = end + (isSigned ? 2 : 1);
    if (const std::size_t count = digitsAt(text, exponent); count > 0) end = exponent + count;
  }
  return text.substr(0, end);
}

struct Utf8Sequence {
  std::size_t length;  ///< of the valid sequence, or of the longest invalid part
  bool valid;
};

/// The sequence that begins at `position`. The bounds of the second byte keep out overlong forms, surrogates and what
/// lies beyond U+10FFFF.
Utf8Sequence sequenceAt(std::string_view text, std::size_t position) {
  const auto byte = [&](std::size_t offset) { return static_cast<unsigned char>(text[position + offset]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) return {1, true};
  if (lead < 0xC2 || lead > 0xF4) return {1, false};
  const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  const unsigned char low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const unsigned char high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  for (std::size_t offset = 1; offset < length; ++offset) {
    const bool second = offset == 1;
    if (position + offset >= text.size() || byte(offset) < (second ? low : 0x80) ||
        byte(offset) > (second ? high : 0xBF)) {
      return {offset, false};
    }
  }
  return {length, true};
}

constexpr std::string_view base64Alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

std::string validUtf8(std::string text) {
  if (isPlainAscii(text)) return text;
  std::size_t position = 0;
  while (position < text.size()) {
    const Utf8Sequence sequence = sequenceAt(text, position);
    if (!sequence.valid) break;
    position += sequence.length;
  }
  if (position == text.size()) return text;
  std::string result = text.substr(0, position);
  while (position < text.size()) {
    const Utf8Sequence sequence = sequenceAt(text, position);
    if (sequence.valid) {
      result.append(text, position, sequence.length);
    } else {
      result += "\xEF\xBF\xBD";
    }
    position += sequence.length;
  }
  return result;
}

bool boolOfText(std::string_view text) noexcept {
  text = afterBlanks(text);
  takeSign(text);
  text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
  return !text.empty() && std::string_view("YyTt123456789").find(text.front()) != std::string_view::npos;
}

template <class Integer>
Integer integerOfText(std::string_view text) noexcept {
  text = afterBlanks(text);
  const bool negative = takeSign(text);
  Integer result = 0;
  constexpr Integer lowest = std::numeric_limits<Integer>::min();
  constexpr Integer highest = std::numeric_limits<Integer>::max();
  for (const char character : text) {
    if (!isDigit(character)) break;
    const auto digit = static_cast<Integer>(character - '0');
    if (negative) {
      if (result < (lowest + digit) / 10) return lowest;
      result = static_cast<Integer>(result * 10 - digit);
    } else {
      if (result > (highest - digit) / 10) return highest;
      result = static_cast<Integer>(result * 10 + digit);
    }
  }
  return result;
}

template std::int32_t integerOfText<std::int32_t>(std::string_view text) noexcept;
template std::int64_t integerOfText<std::int64_t>(std::string_view text) noexcept;

float floatOfText(std::string_view text) {
  text = afterBlanks(text);
  const bool negative = takeSign(text);
  // Not every standard library reads reals with from_chars. A stream does, once it is given the number alone.
  std::istringstream stream{std::string(realAtBeginning(text))};
  stream.imbue(std::locale::classic());
  float result = 0;
  // It answers with the largest number when there is a larger one, and fails.
  if (!(stream >> result) && result > 1) result = std::numeric_limits<float>::infinity();
  return negative ? -result : result;
}

std::string fixedText(double number) {
  std::array<char, 400> buffer;  // the largest double has 309 digits before the point
  const auto [end, error] =
      std::to_chars(buffer.data(), buffer.data() + buffer.size(), number, std::chars_format::fixed, 6);
  return {buffer.data(), end};
}

std::string signedText(std::uint64_t number) {
  std::array<char, 20> digits;
  char* const end = digits.data() + digits.size();
  return {signedDigitsBefore(end, number), end};
}

std::string base64Text(std::string_view bytes) {
  std::string result;
  result.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t position = 0; position < bytes.size(); position += 3) {
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - position);
    std::uint32_t group = 0;
    for (std::size_t offset = 0; offset < 3; ++offset) {
      group <<= 8;
      if (offset < count) group |= static_cast<unsigned char>(bytes[position + offset]);
    }
    for (std::size_t digit = 0; digit < 4; ++digit) {
      result += digit <= count ? base64Alphabet[(group >> (18 - 6 * digit)) & 0x3F] : '=';
    }
  }
  return result;
}

std::optional<std::string> bytesOfBase64(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
  text.remove_suffix(padding);
  std::string result;
  result.reserve(text.size() * 3 / 4);
  std::uint32_t bits = 0;
  int bitCount = 0;
  for (const char character : text) {
    const std::size_t digit = base64Alphabet.find(character);
    if (digit == std::string_view::npos) return std::nullopt;
    bits = (bits << 6) | static_cast<std::uint32_t>(digit);
    bitCount += 6;
    if (bitCount >= 8) {
      bitCount -= 8;
      result += static_cast<char>((bits >> bitCount) & 0xFF);
    }
  }
  return result;
}

}  // namespace fliprugair
