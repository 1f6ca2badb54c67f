#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace fliprugair::sim {

/// The end of a message about `word`, which is none of `known`: `; did you mean "WORD"?` with the one that is most like
/// it, or "" when none is.
std::string suggestion(std::string_view word, const std::vector<std::string_view>& known);

}  // namespace fliprugair::sim
