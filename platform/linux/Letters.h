#pragma once

#include <algorithm>
#include <string>
#include <string_view>

/// The letters of ASCII. By hand, because the C library's functions follow the locale, and in some a small I has
/// another capital.
namespace fliprugair {

constexpr bool isLower(char each) { return each >= 'a' && each <= 'z'; }
constexpr bool isUpper(char each) { return each >= 'A' && each <= 'Z'; }
constexpr char lower(char each) { return isUpper(each) ? static_cast<char>(each - 'A' + 'a') : each; }
constexpr char upper(char each) { return isLower(each) ? static_cast<char>(each - 'a' + 'A') : each; }

/// `text` with every character replaced by what `character` makes of it.
inline std::string mapped(std::string_view text, char (*character)(char)) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), character);
  return result;
}

}  // namespace fliprugair
