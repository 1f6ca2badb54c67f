#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

namespace fliprugair {

/// Whether `text` is ASCII throughout, as nearly all texts are. Eight bytes are looked at in one step, of the last ones
/// some twice.
inline bool isPlainAscii(std::string_view text) {
  constexpr std::size_t step = sizeof(std::uint64_t);
  std::uint64_t all = 0;
  if (text.size() < step) {
    for (const char character : text) all |= static_cast<unsigned char>(character);
    return all < 0x80;
  }
  const auto look = [&](std::size_t position) {
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, text.data() + position, step);
    all |= bytes;
  };
  for (std::size_t position = 0; position + step < text.size(); position += step) look(position);
  look(text.size() - step);
  return (all & 0x8080808080808080) == 0;
}

}  // namespace fliprugair
