#include "tools/swarm/Report.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>

namespace fliprugair::swarm {

namespace {

std::string fixed(double number, int digits) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%.*f", digits, number);
  return text.data();
}

std::string milliseconds(const Latencies& latencies, double share) {
  return fixed(latencies.percentile(share) * 1000, 1) + " ms";
}

std::string rateOf(const LoadReport& report) {
  const double seconds = report.seconds > 0 ? report.seconds : 1;
  return fixed(static_cast<double>(report.traffic.allRequests()) / seconds, 0) + "/s";
}

std::string kindsLine(const Traffic& traffic) {
  std::string text = " ";
  for (std::size_t kind = 0; kind < requestKinds.size(); ++kind) {
    text += " " + std::string(requestKinds[kind]) + " " + grouped(traffic.requests[kind]);
  }
  return text + '\n';
}

}  // namespace

std::string grouped(std::uint64_t number) {
  std::string text = std::to_string(number);
  for (auto place = static_cast<std::ptrdiff_t>(text.size()) - 3; place > 0; place -= 3) {
    text.insert(static_cast<std::size_t>(place), 1, ',');
  }
  return text;
}

std::string progressLine(const LoadReport& report) {
  return fixed(report.seconds, 0) + " s: " + grouped(report.traffic.allRequests()) + " requests, " + rateOf(report) +
         ", " + grouped(report.inFlight) + " under way, " + grouped(report.traffic.failed) + " failed, p99 " +
         milliseconds(report.latencies, 0.99) + ", devices lived " + fixed(inSeconds(report.deviceTime) / 3600, 1) +
         " h";
}

std::string recordsLine(const Records& records) {
  return "Records: " + grouped(records.recorded) + " recorded, " + grouped(records.confirmed) + " confirmed, " +
         grouped(records.waiting) + " waiting, " + grouped(records.twice) + " arrived twice (" +
         grouped(records.needless) + " needlessly), " + grouped(records.unaccounted) + " unaccounted\n";
}

std::string finalReport(const LoadReport& report, const LoadOptions& options) {
  const Traffic& traffic = report.traffic;
  std::string text = grouped(traffic.allRequests()) + " requests of " + grouped(options.devices) + " devices in " +
                     fixed(report.seconds, 1) + " s, " + rateOf(report);
  if (options.rate > 0) text += " (wanted: " + fixed(options.rate, 0) + "/s)";
  text += ", " + grouped(traffic.failed) + " failed, " + grouped(traffic.bytes) + " bytes\n" + kindsLine(traffic);
  if (traffic.failed < traffic.allRequests()) {
    text += "Latency of accepted requests, from the moment when each was due: p50 " +
            milliseconds(report.latencies, 0.5) + ", p90 " + milliseconds(report.latencies, 0.9) + ", p99 " +
            milliseconds(report.latencies, 0.99) + ", p99.9 " + milliseconds(report.latencies, 0.999) + ", longest " +
            milliseconds(report.latencies, 1) + "\n";
  }
  text += recordsLine(report.records);
  for (const auto& [reason, count] : report.failures) text += "  " + grouped(count) + " " + reason + "\n";
  if (traffic.allRequests() > 0 && traffic.failed == traffic.allRequests()) {
    text += "Nothing was accepted. Is a control host listening at " + options.hostname +
            "? One for trying out: fliprugair-controlhost\n";
  }
  return text;
}

std::string progressLine(const SimulationRow& row) {
  return "hour " + fixed(inSeconds(row.begin) / 3600, 1) + ": " + grouped(row.traffic.allRequests()) + " requests, " +
         grouped(row.traffic.failed) + " failed, " + grouped(row.busiestSecond) + " in the busiest second, " +
         grouped(row.waitingRequests) + " requests waiting";
}

std::string finalReport(const SimulationReport& report, const SimulationOptions& options) {
  Traffic traffic;
  SimulationRow busiest;
  std::uint64_t busiestSecond = 0;
  for (const SimulationRow& row : report.rows) {
    traffic += row.traffic;
    busiestSecond = std::max(busiestSecond, row.busiestSecond);
    if (row.traffic.allRequests() > busiest.traffic.allRequests()) busiest = row;
  }
  const Time length = report.rows.empty() ? 0 : std::min(report.rows.back().begin + options.step, options.length);
  const double deviceDays = std::max(1e-9, options.devices * inSeconds(length) / inSeconds(day));
  const auto each = [&](std::uint64_t count) { return fixed(static_cast<double>(count) / deviceDays, 1); };
  std::string text = grouped(traffic.allRequests()) + " requests of " + grouped(options.devices) + " devices in " +
                     fixed(inSeconds(length) / 3600, 1) + " hours of theirs, " + grouped(traffic.failed) + " failed, " +
                     grouped(traffic.bytes) + " bytes\n" + kindsLine(traffic);
  text += "A device and a day: " + each(traffic.allRequests()) + " requests, " + each(traffic.records) +
          " records in batches, " + each(traffic.bytes) + " bytes\n";
  text += "Busiest: " + grouped(busiest.traffic.allRequests()) + " requests in the " +
          fixed(inSeconds(options.step), 0) + " s from hour " + fixed(inSeconds(busiest.begin) / 3600, 1) + ", " +
          grouped(busiestSecond) + " in one second\n";
  return text + recordsLine(report.records);
}

}  // namespace fliprugair::swarm
