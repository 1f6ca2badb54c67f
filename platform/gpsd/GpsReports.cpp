#include "platform/gpsd/GpsReports.h"

#include <gps.h>

#include <cmath>
#include <string_view>
#include <utility>

namespace fliprugair {

namespace {

constexpr std::string_view position = R"("class":"TPV")";

/// 0 is what some receivers send for an accuracy that they do not know.
bool isKnown(double estimate) { return std::isfinite(estimate) && estimate > 0; }

std::optional<double> horizontalAccuracy(const gps_fix_t& fix) {
  if (isKnown(fix.eph)) return fix.eph;
  if (isKnown(fix.epx) && isKnown(fix.epy)) return std::hypot(fix.epx, fix.epy);
  return std::nullopt;
}

/// As gpsd writes a report of a position: one object without others in it. From what follows one on the same line
/// libgps may never return.
bool isOneObject(std::string_view line) {
  const std::size_t end = line.find('}');
  return line.starts_with('{') && line.find('{', 1) == line.npos && end != line.npos &&
         line.find_first_not_of("\r", end + 1) == line.npos;
}

bool isPosition(const gps_fix_t& fix) {
  return fix.mode >= MODE_2D && std::abs(fix.latitude) <= 90 && std::abs(fix.longitude) <= 180;
}

}  // namespace

GpsReports::GpsReports(double wantedAccuracy)
    : wantedAccuracy_(wantedAccuracy), report_(std::make_unique<gps_data_t>()) {}

GpsReports::~GpsReports() = default;

std::optional<GpsFix> GpsReports::sufficientFix(std::string line) {
  // libgps goes by the first class that it finds. It reads some of the others by way of static buffers, which two
  // searches would share.
  const std::size_t tag = line.find(R"("class":)");
  if (tag == line.npos || line.compare(tag, position.size(), position) != 0) return std::nullopt;
  if (!isOneObject(line)) return std::nullopt;
  *report_ = {};
  gps_clear_fix(&report_->fix);
  if (gps_unpack(line.data(), report_.get()) != 0 || !isNews()) return std::nullopt;
  const gps_fix_t& fix = report_->fix;
  const auto accuracy = horizontalAccuracy(fix);
  if (!isPosition(fix) || !accuracy || *accuracy > wantedAccuracy_) return std::nullopt;
  return GpsFix{fix.latitude, fix.longitude, *accuracy};
}

bool GpsReports::isNews() {
  const auto& given = report_->fix.time;
  if (given.tv_sec <= 0) return false;
  const std::pair<long long, long> time(given.tv_sec, given.tv_nsec);
  const auto [last, first] = times_.try_emplace(report_->dev.path, time);
  if (first) return false;
  return std::exchange(last->second, time) < time;
}

}  // namespace fliprugair
