#include "platform/JSONText.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "platform/Digits.h"

namespace fliprugair {

namespace {

/// Not 0 when one of these eight bytes is to be escaped: a control character, a quotation mark, a backslash.
std::uint64_t escapedIn(std::uint64_t bytes) {
  constexpr std::uint64_t ones = 0x0101010101010101;
  constexpr std::uint64_t tops = 0x8080808080808080;
  // Bytes that are below the limit have their top bits set.
  const auto below = [&](std::uint64_t all, unsigned limit) { return all - ones * limit; };
  return (below(bytes, ' ') | below(bytes ^ (ones * '"'), 1) | below(bytes ^ (ones * '\\'), 1)) & ~bytes & tops;
}

bool isEscaped(char character) {
  return character == '"' || character == '\\' || static_cast<unsigned char>(character) < ' ';
}

/// False when the copy is of no use, because something in it is to be escaped.
bool copyPlainByBytes(std::string_view text, char* to) {
  bool isPlain = true;
  for (const char character : text) {
    *to++ = character;
    isPlain = isPlain && !isEscaped(character);
  }
  return isPlain;
}

/// The same, eight bytes at a time, the last ones together with some that came before them.
bool copyPlain(std::string_view text, char* to) {
  constexpr std::size_t step = sizeof(std::uint64_t);
  if (text.size() < step) return copyPlainByBytes(text, to);
  std::uint64_t escaped = 0;
  const auto copyAt = [&](std::size_t place) {
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, text.data() + place, step);
    std::memcpy(to + place, &bytes, step);
    escaped |= escapedIn(bytes);
  };
  for (std::size_t place = 0; place + step < text.size(); place += step) copyAt(place);
  copyAt(text.size() - step);
  return escaped == 0;
}

char* writeKey(std::string_view key, char* to) {
  *to++ = '"';
  std::memcpy(to, key.data(), key.size());
  to += key.size();
  *to++ = '"';
  *to++ = ':';
  return to;
}

constexpr std::size_t longestEscape = 6;

/// Answers where it ends.
char* writeControl(char character, char* to) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  constexpr std::string_view names = {"btn\0fr", 6};  // from 8 on
  const auto number = static_cast<unsigned char>(character);
  const char name = number >= 8 && number < 8 + names.size() ? names[number - 8] : '\0';
  *to++ = '\\';
  *to++ = name != '\0' ? name : 'u';
  if (name != '\0') return to;
  *to++ = '0';
  *to++ = '0';
  *to++ = digits[number / digits.size()];
  *to++ = digits[number % digits.size()];
  return to;
}

}  // namespace

void JSONText::add(std::string_view characters) {
  std::copy(characters.begin(), characters.end(), room(characters.size()));
}

void JSONText::addText(std::string_view text) {
  char* place = room(text.size() + 2);
  *place = '"';
  if (copyPlain(text, place + 1)) {
    place[text.size() + 1] = '"';
  } else {
    size_ -= text.size() + 2;
    addEscaped(text);
  }
}

void JSONText::addPair(std::string_view key, std::string_view text) {
  char* place = writeKey(key, room(key.size() + text.size() + 6));
  *place++ = '"';
  if (copyPlain(text, place)) {
    place[text.size()] = '"';
    place[text.size() + 1] = ',';
  } else {
    size_ -= text.size() + 3;
    addEscaped(text);
    add(',');
  }
}

void JSONText::addPlainPair(std::string_view key, std::string_view text) {
  char* place = writeKey(key, room(key.size() + text.size() + 6));
  *place++ = '"';
  std::memcpy(place, text.data(), text.size());
  place[text.size()] = '"';
  place[text.size() + 1] = ',';
}

void JSONText::addKey(std::string_view key) { writeKey(key, room(key.size() + 3)); }

void JSONText::addEscaped(std::string_view text) {
  const std::size_t most = longestEscape * text.size() + 2;
  char* place = room(most);
  size_ -= most;
  *place++ = '"';
  for (const char character : text) {
    if (character == '"' || character == '\\') {
      *place++ = '\\';
      *place++ = character;
    } else if (static_cast<unsigned char>(character) >= ' ') {
      *place++ = character;
    } else {
      place = writeControl(character, place);
    }
  }
  *place++ = '"';
  size_ = static_cast<std::size_t>(place - begin_);
}

bool JSONText::addPlain(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::null:
      add("null");
      return true;
    case Value::Kind::boolean:
      add(value.boolValue() ? "true" : "false");
      return true;
    case Value::Kind::integer:
      addInteger(value);
      return true;
    case Value::Kind::text:
      addText(value.text());
      return true;
    default:
      return false;
  }
}

void JSONText::addInteger(const Value& value) {
  std::array<char, 20> digits;
  char* const end = digits.data() + digits.size();
  char* const begin = value.isUnsigned() ? digitsBefore(end, value.unsignedValue())
                                         : signedDigitsBefore(end, static_cast<std::uint64_t>(value.integerValue()));
  add({begin, end});
}

void JSONText::grow(std::size_t characters) {
  const std::size_t capacity = std::max(2 * capacity_, size_ + characters);
  std::unique_ptr<char[]> grown(new char[capacity]);  // libc++ 14 has nothing that leaves them as they are
  std::copy_n(begin_, size_, grown.get());
  grown_ = std::move(grown);
  begin_ = grown_.get();
  capacity_ = capacity;
}

}  // namespace fliprugair
