#pragma once

#include <string_view>

namespace fliprugair::sim {

/// What `fliprugair-sim --help` prints.
std::string_view helpText();

}  // namespace fliprugair::sim
