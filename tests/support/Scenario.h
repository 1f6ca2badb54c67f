#pragma once

#include <string>
#include <vector>

namespace fliprugair::sim {

/// Runs the lines of a scenario (tests/scenarios/README.md says what they are) on a simulator of its own.
/// Returns what is not as it stands there: which line, what was expected, what came. "" when all is.
std::string mismatchIn(const std::vector<std::string>& scenario);

}  // namespace fliprugair::sim
