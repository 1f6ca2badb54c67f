#include "platform/JSONText.h"

#include <charconv>
#include <cstdint>

namespace fliprugair {

namespace {

/// Not 0 when one of these bytes is to be escaped: a control character, a quotation mark, a backslash.
template <class Bytes>
Bytes escapedIn(Bytes bytes) {
  constexpr auto ones = static_cast<Bytes>(0x0101010101010101);
  constexpr auto tops = static_cast<Bytes>(0x8080808080808080);
  const auto below = [&](Bytes all, unsigned limit) { return all - ones * limit; };  // says so in their top bits
  return (below(bytes, ' ') | below(bytes ^ (ones * '"'), 1) | below(bytes ^ (ones * '\\'), 1)) & ~bytes & tops;
}

/// Word by word, the last one together with bytes that came before it.
template <class Word>
bool copyPlain(std::string_view text, char* to) {
  Word escaped = 0;
  const auto copyAt = [&](std::size_t place) {
    Word word = 0;
    std::memcpy(&word, text.data() + place, sizeof word);
    std::memcpy(to + place, &word, sizeof word);
    escaped |= escapedIn(word);
  };
  for (std::size_t place = 0; place + sizeof(Word) < text.size(); place += sizeof(Word)) copyAt(place);
  copyAt(text.size() - sizeof(Word));
  return escaped == 0;
}

/// False when the copy is of no use, because something in it is to be escaped.
bool copyPlain(std::string_view text, char* to) {
  if (text.size() >= sizeof(std::uint64_t)) return copyPlain<std::uint64_t>(text, to);
  if (text.size() >= sizeof(std::uint32_t)) return copyPlain<std::uint32_t>(text, to);
  return text.empty() || copyPlain<std::uint8_t>(text, to);
}

constexpr std::size_t escapeSize = 6;

/// Answers where it ends.
char* writeEscape(char character, char* to) {
  constexpr std::string_view named = "\"\\\b\f\n\r\t";
  constexpr std::string_view names = "\"\\bfnrt";
  constexpr std::string_view digits = "0123456789ABCDEF";
  *to++ = '\\';
  if (const std::size_t place = named.find(character); place != std::string_view::npos) {
    *to++ = names[place];
    return to;
  }
  to = std::copy_n("u00", 3, to);
  *to++ = digits[static_cast<std::size_t>(character) / digits.size()];
  *to++ = digits[static_cast<std::size_t>(character) % digits.size()];
  return to;
}

}  // namespace

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

void JSONText::addEscaped(std::string_view text) {
  const std::size_t most = escapeSize * text.size() + 2;
  char* const begin = room(most);
  char* end = begin;
  *end++ = '"';
  for (const char character : text) {
    if (escapedIn(static_cast<std::uint8_t>(character)) == 0) {
      *end++ = character;
    } else {
      end = writeEscape(character, end);
    }
  }
  *end++ = '"';
  size_ -= most - static_cast<std::size_t>(end - begin);
}

bool JSONText::addPlain(const Value& value) {
  const auto addNumber = [this](auto number) {
    std::array<char, 20> digits;
    add({digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr});
  };
  switch (value.kind()) {
    case Value::Kind::null:
      add("null");
      return true;
    case Value::Kind::boolean:
      add(value.boolValue() ? "true" : "false");
      return true;
    case Value::Kind::integer:
      value.isUnsigned() ? addNumber(value.unsignedValue()) : addNumber(value.integerValue());
      return true;
    case Value::Kind::text:
      addText(value.text());
      return true;
    default:
      return false;
  }
}

void JSONText::grow(std::size_t characters) {
  const std::size_t capacity = std::max(2 * capacity_, size_ + characters);
  auto grown = std::make_unique_for_overwrite<char[]>(capacity);
  std::memcpy(grown.get(), begin_, size_);
  grown_ = std::move(grown);
  begin_ = grown_.get();
  capacity_ = capacity;
}

}  // namespace fliprugair
