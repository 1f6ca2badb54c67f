// Under what a tracker keeps what waits.
#pragma once

#include <string_view>

namespace fliprugair {

inline constexpr std::string_view installIsDue = "com.marlune.MarluneTracker.sendInitial";
inline constexpr std::string_view records = "com.marlune.marluneTracker.batchEventQueue";

}  // namespace fliprugair
