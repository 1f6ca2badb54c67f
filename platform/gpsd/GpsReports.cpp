#include "platform/gpsd/GpsReports.h"

#include <gps.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/json/RapidJSONSerialization.h"

namespace fliprugair {

namespace {

/// 0 is what some receivers send for an accuracy that they do not know.
bool isKnown(double estimate) { return std::isfinite(estimate) && estimate > 0; }

std::optional<double> horizontalAccuracy(const gps_fix_t& fix) {
  if (isKnown(fix.eph)) return fix.eph;
  if (isKnown(fix.epx) && isKnown(fix.epy)) return std::hypot(fix.epx, fix.epy);
  return std::nullopt;
}

/// Short, and of characters that need no escaping.
bool isPlain(const std::string& text) {
  constexpr std::size_t longest = 100;
  const auto isPrintable = [](char each) { return each >= ' ' && each <= '~' && each != '"' && each != '\\'; };
  return text.size() <= longest && std::all_of(text.begin(), text.end(), isPrintable);
}

/// What counts of a report of a position: of names or values that it does not know libgps may never return, and it
/// reads some of the other classes by way of static buffers, which two searches would share. None when `line` is
/// anything else.
std::optional<std::string> positionReport(std::string_view line) {
  const RapidJSONSerialization json;
  const Dictionary report = json.value(line, 1).value_or(Value()).dictionary();
  if (report["class"] != Value("TPV")) return std::nullopt;
  Dictionary plain;
  for (const std::string_view name : {"class", "device", "time"}) {
    if (!report.holds(name)) continue;
    if (!report[name].isText() || !isPlain(report[name].text())) return std::nullopt;
    plain = plain.setting(name, report[name]);
  }
  for (const std::string_view name : {"mode", "lat", "lon", "eph", "epx", "epy"}) {
    if (report[name].isNumber()) plain = plain.setting(name, report[name]);
  }
  return json.text(plain);
}

bool isPosition(const gps_fix_t& fix) {
  return fix.mode >= MODE_2D && std::abs(fix.latitude) <= 90 && std::abs(fix.longitude) <= 180;
}

}  // namespace

GpsReports::GpsReports(double wantedAccuracy)
    : wantedAccuracy_(wantedAccuracy), report_(std::make_unique<gps_data_t>()) {}

GpsReports::~GpsReports() = default;

std::optional<GpsFix> GpsReports::sufficientFix(std::string_view line) {
  std::optional<std::string> report = positionReport(line);
  if (!report) return std::nullopt;
  *report_ = {};
  gps_clear_fix(&report_->fix);
  if (gps_unpack(report->data(), report_.get()) != 0 || !isNews()) return std::nullopt;
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
