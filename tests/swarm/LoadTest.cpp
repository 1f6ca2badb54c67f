// A swarm over HTTP, against a control host in this process.

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <map>
#include <thread>

#include "support/CheckedHost.h"
#include "swarm/Clocks.h"
#include "tools/swarm/Load.h"

namespace fliprugair::swarm {
namespace {

using namespace std::chrono_literals;

Fleet aFleet() {
  Fleet fleet;
  fleet.trackerOptions = Value{{"marluneAppId", "swarm"}, {"retrieveAttribution", true}};
  return fleet;
}

LoadOptions loadOn(const std::string& hostname) {
  LoadOptions options;
  options.devices = 20;
  options.hostname = hostname;
  options.duration = 1h;
  options.connections = 4;
  options.threads = 2;
  return options;
}

/// Lets a load go on until so many requests have ended.
std::function<bool(const LoadReport&)> until(std::uint64_t requests) {
  return [requests](const LoadReport& soFar) {
    std::this_thread::sleep_for(1ms);  // real threads and sockets, which offer nothing to wait on
    return soFar.traffic.allRequests() < requests;
  };
}

/// The events that have arrived at `host`, each as often as it has.
std::map<std::string, int> eventsAt(const ControlHost& host) {
  std::map<std::string, int> events;
  for (const controlhost::ReceivedRequest& request : host.requests()) {
    if (request.status != 200) continue;
    for (const Value& record : request.items()) {
      const Dictionary all = record.dictionary();
      if (all["action"] != Value("event")) continue;
      ++events[all["marlune_device_id"].text() + " " + all["data"].dictionary()["event_data"].text()];
    }
  }
  return events;
}

TEST(Load, ItsAccountIsWhatTheHostReceived) {
  CheckedHost host({.capacity = 100000}, clocksOfTheirOwn);
  const LoadReport report = runLoad(aFleet(), loadOn(host.hostname()), until(200));
  const auto events = eventsAt(host);
  std::uint64_t installations = 0;
  for (const auto& request : host.requests()) installations += request.action == "initial" ? 1 : 0;
  EXPECT_GT(events.size(), 20U);
  EXPECT_EQ(report.records.confirmed, events.size() + installations);
  EXPECT_EQ(report.records.recorded, report.records.confirmed + report.records.waiting);
  EXPECT_EQ(report.records.twice, 0U);
  EXPECT_EQ(report.records.unaccounted, 0U);
  EXPECT_EQ(report.traffic.allRequests(), host.requests().size());
  EXPECT_EQ(report.traffic.failed, 0U);
}

TEST(Load, SendsNothingThatTheHostFindsFaultWith) {
  CheckedHost host({}, clocksOfTheirOwn);
  runLoad(aFleet(), loadOn(host.hostname()), until(200));
  EXPECT_GE(host.requests().size(), 200U);
}

TEST(Load, WhatTheHostTurnsAwayWaits) {
  CheckedHost host({}, clocksOfTheirOwn);
  host.setOffline(true);
  const LoadReport report = runLoad(aFleet(), loadOn(host.hostname()), until(50));
  EXPECT_GT(report.records.recorded, 0U);
  EXPECT_EQ(report.records.confirmed, 0U);
  EXPECT_EQ(report.records.waiting, report.records.recorded);
  EXPECT_EQ(report.records.unaccounted, 0U);
  EXPECT_EQ(report.traffic.failed, report.traffic.allRequests());
  EXPECT_FALSE(report.failures.empty());
}

TEST(Load, KeepsToItsRate) {
  CheckedHost host({}, clocksOfTheirOwn);
  LoadOptions options = loadOn(host.hostname());
  options.rate = 100;
  options.duration = 200ms;
  const LoadReport report = runLoad(aFleet(), options, until(1000));
  EXPECT_LE(report.traffic.allRequests(), 26U) << "20 are due, and each thread may have sent more than one at its turn";
  EXPECT_GT(report.traffic.allRequests(), 0U);
}

TEST(Load, EndsEarlyWhenItIsToldTo) {
  CheckedHost host({}, clocksOfTheirOwn);
  const LoadReport report = runLoad(aFleet(), loadOn(host.hostname()), until(10));
  EXPECT_GE(report.traffic.allRequests(), 10U);
  EXPECT_EQ(report.inFlight, 0U);
  EXPECT_EQ(report.records.unaccounted, 0U);
}

TEST(Load, RefusesWhatIsNoHost) { EXPECT_THROW(runLoad(aFleet(), loadOn("no host"), until(1)), std::runtime_error); }

}  // namespace
}  // namespace fliprugair::swarm
