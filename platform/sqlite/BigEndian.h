#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace fliprugair {

/// The unsigned number in `size` bytes of `bytes` from `place` on, which must be there.
template <std::size_t size>
constexpr auto bigEndian(std::string_view bytes, std::size_t place) {
  static_assert(size <= 4);
  std::uint32_t number = 0;
  for (std::size_t index = 0; index < size; ++index) {
    number = (number << 8) | static_cast<unsigned char>(bytes[place + index]);
  }
  return number;
}

}  // namespace fliprugair
