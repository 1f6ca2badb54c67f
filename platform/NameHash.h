#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string_view>

namespace fliprugair {

/// Of a stored key. They begin alike, so that their ends tell.
struct NameHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view name) const {
    constexpr std::size_t telling = 12;
    return std::hash<std::string_view>{}(name.substr(name.size() - std::min(name.size(), telling)));
  }
};

}  // namespace fliprugair
