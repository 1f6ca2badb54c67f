#pragma once

#include <string>
#include <vector>

namespace fliprugair::controlhost {

/// Runs a program to its end, with one variable more in its environment, and returns its exit status; 128 and the
/// signal's number when a signal ended it. Throws std::runtime_error when it cannot be started.
int runProgram(const std::vector<std::string>& command, const std::string& variable, const std::string& value);

}  // namespace fliprugair::controlhost
