#pragma once

#include <cstdint>
#include <limits>

namespace fliprugair {

/// What is stored and sent of a time: whole seconds since 1970, unsigned; none before.
inline std::uint64_t wholeSeconds(double time) {
  if (!(time > 0)) return 0;
  constexpr double bound = 18446744073709551616.0;  // 2 to the 64th
  return time < bound ? static_cast<std::uint64_t>(time) : std::numeric_limits<std::uint64_t>::max();
}

}  // namespace fliprugair
