#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace fliprugair {

/// A key that stands in the source: plain ASCII that JSON has no escape for, seen to when it is compiled, and never
/// copied.
class LiteralKey {
 public:
  template <std::size_t size>
  consteval LiteralKey(const char (&literal)[size]) : text_(literal, size - 1) {
    const auto isPlain = [](char character) {
      return character >= ' ' && character <= '~' && character != '"' && character != '\\';
    };
    if (!std::all_of(text_.begin(), text_.end(), isPlain)) throw "no key";
  }

  std::string_view text() const { return text_; }

 private:
  std::string_view text_;
};

}  // namespace fliprugair
