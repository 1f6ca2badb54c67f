#pragma once

#include <sys/types.h>

#include <fstream>
#include <string>

namespace fliprugair {

/// How often the thread of this process has gone to sleep by itself.
inline long sleepsOf(pid_t thread) {
  std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
  for (std::string word; status >> word;) {
    long count = -1;
    if (word == "voluntary_ctxt_switches:" && status >> count) return count;
  }
  return -1;
}

/// Whether the thread of this process waits for something.
inline bool isAsleep(pid_t thread) {
  std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
  for (std::string word; status >> word;) {
    std::string state;
    if (word == "State:" && status >> state) return state == "S";
  }
  return false;
}

}  // namespace fliprugair
