#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace fliprugair {

/// A text that stands in the source, such as a key: plain ASCII that JSON has no escape for, seen to when it is
/// compiled, and never copied.
class Literal {
 public:
  template <std::size_t size>
  consteval Literal(const char (&literal)[size]) : text_(literal, size - 1) {
    const auto isPlain = [](char character) {
      return character >= ' ' && character <= '~' && character != '"' && character != '\\';
    };
    if (!std::all_of(text_.begin(), text_.end(), isPlain)) throw "to be escaped";
  }

  std::string_view text() const { return text_; }

 private:
  std::string_view text_;
};

}  // namespace fliprugair
