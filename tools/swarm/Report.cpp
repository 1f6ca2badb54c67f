#include "tools/swarm/Report.h"

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
         grouped(records.waiting) + " waiting, " + grouped(records.twice) + " arrived twice, " +
         grouped(records.unaccounted) + " unaccounted\n";
}

std::string finalReport(const LoadReport& report, const LoadOptions& options) {
  const Traffic& traffic = report.traffic;
  std::string text = grouped(traffic.allRequests()) + " requests of " + grouped(options.devices) + " devices in " +
                     fixed(report.seconds, 1) + " s, " + rateOf(report);
  if (options.rate > 0) text += " (wanted: " + fixed(options.rate, 0) + "/s)";
  text += ", " + grouped(traffic.failed) + " failed, " + grouped(traffic.bytes) + " bytes\n ";
  for (std::size_t kind = 0; kind < requestKinds.size(); ++kind) {
    text += " " + std::string(requestKinds[kind]) + " " + grouped(traffic.requests[kind]);
  }
  text += '\n';
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

}  // namespace fliprugair::swarm
