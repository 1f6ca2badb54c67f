#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace fliprugair {

/// Of a stored key. They begin alike, so that their ends tell.
struct NameHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view name) const {
    std::uint64_t end = 0;
    if (name.size() < sizeof end) {
      if (!name.empty()) std::memcpy(&end, name.data(), name.size());  // an empty name may be nowhere
    } else {
      std::memcpy(&end, name.data() + name.size() - sizeof end, sizeof end);
    }
    end = (end ^ name.size()) * 0x9E3779B97F4A7C15U;
    return end ^ (end >> 32);
  }
};

}  // namespace fliprugair
