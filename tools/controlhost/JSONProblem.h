#pragma once

#include <string>
#include <string_view>

namespace fliprugair::controlhost {

/// Why `text` is not one JSON text, and where, for the eyes of its author: "line 3, column 7: Invalid value."
std::string jsonProblem(std::string_view text);

}  // namespace fliprugair::controlhost
