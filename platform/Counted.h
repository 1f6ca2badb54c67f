#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace fliprugair {

/// "1 record", "2 records".
inline std::string counted(std::size_t count, std::string_view thing) {
  return std::to_string(count).append(" ").append(thing).append(count == 1 ? "" : "s");
}

}  // namespace fliprugair
