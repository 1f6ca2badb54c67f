#pragma once

#include <cstdint>

namespace fliprugair {

/// Writes the decimal digits of `number` before `end`, at most 20. Answers where they begin.
inline char* digitsBefore(char* end, std::uint64_t number) {
  do {
    *--end = static_cast<char>('0' + number % 10);
    number /= 10;
  } while (number != 0);
  return end;
}

}  // namespace fliprugair
