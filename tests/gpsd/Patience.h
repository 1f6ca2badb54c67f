// How long the tests of searches wait for what comes at once, and what they take for at once.
#pragma once

#include <chrono>

namespace fliprugair {

inline constexpr auto patience = std::chrono::seconds(60);

/// Far above what a wake-up takes, far below the time-outs of the searches here.
inline constexpr auto promptly = std::chrono::seconds(10);

}  // namespace fliprugair
