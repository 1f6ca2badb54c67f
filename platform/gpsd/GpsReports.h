#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

struct gps_data_t;

namespace fliprugair {

/// A position in degrees and its horizontal accuracy in metres.
struct GpsFix {
  double latitude = 0;
  double longitude = 0;
  double accuracy = 0;
};

/// Picks the first sufficient fix out of gpsd's reports. One thread.
///
/// A fix is sufficient when gpsd reports at least a two-dimensional one, gives latitude, longitude and an accuracy, and
/// the accuracy is as wanted: gpsd's horizontal estimate or, failing that, the one made up of its estimates for each
/// axis. A fix of unknown accuracy never is.
///
/// It must also have been measured during the search, but gpsd (or a relay before it) may begin by repeating the last
/// report it knows, however old. The report's time cannot be compared with the device's clock, which may be wrong, most
/// of all on devices that take their time from the receiver. So the receiver's own times are compared: a fix
/// counts only once its time is later than in the device's report before. With a live receiver that is the second
/// report. A fix without a time never counts.
class GpsReports {
 public:
  explicit GpsReports(double wantedAccuracy);
  ~GpsReports();

  /// The fix in `line`, a line of gpsd's JSON protocol; none when it holds no sufficient one.
  std::optional<GpsFix> sufficientFix(std::string_view line);

 private:
  bool isNews();

  double wantedAccuracy_;
  std::unique_ptr<gps_data_t> report_;
  std::map<std::string, std::pair<long long, long>>
      times_;  ///< of the last report of each device: seconds, nanoseconds
};

}  // namespace fliprugair
