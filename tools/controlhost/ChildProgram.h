#pragma once

#include <csignal>
#include <string>
#include <vector>

namespace fliprugair::controlhost {

/// Blocks, in this thread and all that it starts, the signals that runProgram waits for.
sigset_t blockedSignalsOfAProgram();

/// Runs a program to its end, with one variable more in its environment, and returns its exit status; 128 and the
/// signal's number when a signal ended it. What would end this program alone (SIGTERM, SIGINT, SIGHUP) is handed on to
/// that one; what the terminal sends reaches both by itself. `signals` are blocked in all threads. Throws
/// std::runtime_error when it cannot be started.
int runProgram(const std::vector<std::string>& command, const std::string& variable, const std::string& value,
               const sigset_t& signals);

}  // namespace fliprugair::controlhost
