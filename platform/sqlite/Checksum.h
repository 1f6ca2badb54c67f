#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace fliprugair {

/// Tells whether what is read is what was written; no protection from those who mean it. Every step is reversible, so
/// that a change within eight bytes of one another never goes unnoticed. Part of the file format.
class Checksum {
 public:
  Checksum& add(std::uint64_t word) {
    state_ = (std::rotl(state_, 29) ^ word) * 0x9E3779B97F4A7C15U;
    return *this;
  }

  Checksum& add(std::string_view text) {
    add(text.size());
    for (; text.size() >= sizeof(std::uint64_t); text.remove_prefix(sizeof(std::uint64_t))) {
      std::uint64_t word = 0;
      std::memcpy(&word, text.data(), sizeof word);
      add(word);
    }
    std::uint64_t rest = 0;
    if (!text.empty()) std::memcpy(&rest, text.data(), text.size());  // an empty text may be nowhere
    return add(rest);
  }

  std::int64_t value() const { return static_cast<std::int64_t>(state_ ^ (state_ >> 32)); }

 private:
  std::uint64_t state_ = 0;
};

}  // namespace fliprugair
