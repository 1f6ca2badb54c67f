#pragma once

#include <string>
#include <string_view>

namespace fliprugair::sim {

/// Why `line`, which is no JSON text, is none, and at which column (characters, from 1).
std::string jsonMistake(std::string_view line);

}  // namespace fliprugair::sim
