#include "tools/controlhost/VisibleText.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace fliprugair::controlhost {

namespace {

/// The first character of a text, as far as it can be one that is escaped: these take three bytes of UTF-8 at most.
std::pair<unsigned, std::size_t> firstOf(std::string_view text) {
  const auto byte = [&](std::size_t place) -> unsigned {
    return place < text.size() ? static_cast<unsigned char>(text[place]) : 0U;
  };
  if ((byte(0) & 0xE0U) == 0xC0U) return {(byte(0) & 0x1FU) << 6U | (byte(1) & 0x3FU), 2};
  if ((byte(0) & 0xF0U) == 0xE0U) return {(byte(0) & 0x0FU) << 12U | (byte(1) & 0x3FU) << 6U | (byte(2) & 0x3FU), 3};
  return {byte(0) < 0x80U ? byte(0) : 'x', 1};
}

/// Controls, marks and overrides of the direction, ends of lines, the byte order mark.
bool mustBeSeen(unsigned character) {
  constexpr std::array<std::pair<unsigned, unsigned>, 8> ranges{{{0x00, 0x1F},
                                                                 {0x7F, 0x9F},
                                                                 {0x61C, 0x61C},
                                                                 {0x200E, 0x200F},
                                                                 {0x2028, 0x202E},
                                                                 {0x2066, 0x206F},
                                                                 {0xFEFF, 0xFEFF},
                                                                 {0xFFF9, 0xFFFB}}};
  return std::any_of(ranges.begin(), ranges.end(),
                     [&](const auto& range) { return character >= range.first && character <= range.second; });
}

}  // namespace

std::string visibleText(std::string_view text, bool lines) {
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    const auto [character, size] = firstOf(text.substr(at));
    if (mustBeSeen(character) && !(lines && character == '\n')) {
      std::array<char, 8> escape{};
      std::snprintf(escape.data(), escape.size(), "\\u%04X", character);
      result += escape.data();
    } else {
      result += text.substr(at, size);
    }
    at += size;
  }
  return result;
}

}  // namespace fliprugair::controlhost
