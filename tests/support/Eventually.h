#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace fliprugair {

/// Waits until `condition` holds, for half a minute at most. Whether it does. For what signals nobody: files, other
/// processes, the system.
inline bool eventually(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));  // no file, process or system tells when it has changed
  }
  return true;
}

}  // namespace fliprugair
