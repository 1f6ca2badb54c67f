// The three clock readings of the reports.

#include <limits>

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/core/StoredKeys.h"

namespace fliprugair {

/// Whole seconds since 1970, truncated.
std::uint64_t MarluneTracker::now() const {
  const double seconds = platform().secondsSince1970();
  if (!(seconds > 0)) return 0;
  constexpr double bound = 18446744073709551616.0;  // 2 to the 64th
  return seconds < bound ? static_cast<std::uint64_t>(seconds) : std::numeric_limits<std::uint64_t>::max();
}

std::string MarluneTracker::currentLocalTime() const { return signedText(now()); }

/// Negative when the stored activation lies in the future: the difference is unsigned, the text signed.
std::string MarluneTracker::returnUptime() const {
  return signedText(now() - static_cast<std::uint64_t>(store().integerForKey(key::timeAppBecameActive)));
}

/// Moves the reference point: a second report in the same second gets 0.
std::string MarluneTracker::returnAndSetUptimeDelta() {
  const std::uint64_t time = now();
  const std::uint64_t delta = time - static_cast<std::uint64_t>(store().integerForKey(key::lastUpdateTime));
  store().setInteger(time, key::lastUpdateTime);
  store().synchronize();
  return signedText(delta);
}

}  // namespace fliprugair
