#include "platform/gpsd/GpsReports.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

/// The lines of one search, from whatever listens where gpsd should be.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr double wantedAccuracy = 50;
  fliprugair::GpsReports reports(wantedAccuracy);
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  while (!rest.empty()) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(line.size() < rest.size() ? line.size() + 1 : line.size());
    const auto fix = reports.sufficientFix(line);
    if (!fix) continue;
    const bool isOnEarth = std::abs(fix->latitude) <= 90 && std::abs(fix->longitude) <= 180;
    if (!isOnEarth || !(fix->accuracy > 0 && fix->accuracy <= wantedAccuracy)) std::abort();
  }
  return 0;
}
