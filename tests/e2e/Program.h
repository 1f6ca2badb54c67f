#pragma once

#include <string>
#include <vector>

namespace fliprugair::e2e {

/// How a program ended, and what it wrote to standard output and standard error.
struct ProgramRun {
  int exitStatus = -1;  ///< -1: by a signal, or it could not be started
  std::string output;
};

/// Runs the program at `arguments[0]`, looked up as a shell does, to its end, with `variables` ("NAME=value") added to
/// this process's own.
ProgramRun runProgram(const std::vector<std::string>& arguments, const std::vector<std::string>& variables = {});

}  // namespace fliprugair::e2e
