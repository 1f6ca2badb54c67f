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

/// The same with a sign before a negative one, at most 20 in all: what lies above the signed range is negative.
inline char* signedDigitsBefore(char* end, std::uint64_t number) {
  const bool isNegative = number > INT64_MAX;
  char* begin = digitsBefore(end, isNegative ? 0 - number : number);
  if (isNegative) *--begin = '-';
  return begin;
}

}  // namespace fliprugair
