#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace fliprugair::controlhost {

/// Why `text` is not one JSON text, and where, for the eyes of its author: "line 3, column 7: Invalid value."
std::string jsonProblem(std::string_view text);

/// Where `text` ceases to be UTF-8: "line 3, column 7: byte 40 is 0xE9." All count from 1, columns in bytes. Nothing
/// when it is UTF-8 to its end.
std::optional<std::string> utf8Problem(std::string_view text);

}  // namespace fliprugair::controlhost
