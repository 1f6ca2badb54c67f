// Some thousand requests, as fast as they go. With FLIPRUGAIR_LOAD_SECONDS=60 it is 1,000 a second for a minute, at the
// usual cap, and the figures are printed: so soak/run calls it.

#include <gtest/gtest.h>
#include <httplib.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <thread>

#include "platform/json/RapidJSONSerialization.h"
#include "support/CheckedHost.h"

extern "C" const char* __asan_default_options();

/// With AddressSanitizer: what was freed is soon used again, so that the memory of this process means something.
extern "C" const char* __asan_default_options() { return "quarantine_size_mb=4"; }

namespace fliprugair::controlhost {

namespace {

constexpr int requestsASecond = 1000;

/// Of this process, in KiB.
long residentMemory() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmRSS:")) return std::atol(line.c_str() + 6);
  }
  return 0;
}

/// What request `number` of a varied traffic says: one of five kinds, from one of 500 devices, of a hundred bytes to
/// some ten thousand.
Value requestOf(int number) {
  const std::string numbered = std::to_string(number);
  const auto record = [&](const char* action, const Value& data) {
    return Value{{"action", action},
                 {"marlune_device_id", "MI" + std::to_string(number % 500)},
                 {"marlune_app_id", "demo"},
                 {"data", data}}
        .dictionary();
  };
  const auto enveloped = [&](const char* action, const Value& data) {
    return record(action, data).setting("sdk_version", "ios-20160921").setting("sdk_protocol", "4");
  };
  switch (number % 5) {
    case 0:
      return enveloped("get_attribution", nullptr).removing("data");
    case 1:
      return enveloped("update", Value{{"language", "x-" + numbered}});
    case 2:
      return Array{record("identityLink", Value{{"user", numbered}})};
    case 3:
      return enveloped("init", Value{{"partner_id", ""},
                                     {"partner_name", ""},
                                     {"package_name", "com.example." + numbered},
                                     {"platform", "ios"},
                                     {"session_tracking", "full"}})
          .setting("data_orig", Dictionary());
    default:
      break;
  }
  const std::string now = std::to_string(std::chrono::system_clock::to_time_t(std::chrono::system_clock::now()));
  std::vector<Value> events;
  for (int event = 0; event <= number / 5 % 25; ++event) {
    events.push_back(enveloped("event", Value{{"usertime", now},
                                              {"uptime", "5"},
                                              {"event_name", numbered + '/' + std::to_string(event)},
                                              {"event_data", std::string(static_cast<std::size_t>(number % 400), 'x')},
                                              {"currency", "usd"}}));
  }
  return Array(std::move(events));
}

TEST(Load, NoRequestIsLostAndMemoryStaysFlatAtTheCap) {
  const char* wanted = std::getenv("FLIPRUGAIR_LOAD_SECONDS");
  const int seconds = wanted == nullptr ? 0 : std::atoi(wanted);
  const int requests = seconds == 0 ? 4000 : seconds * requestsASecond;
  const int capacity = seconds == 0 ? 1000 : static_cast<int>(ControlHostOptions().capacity);
  CheckedHost host({.capacity = static_cast<std::size_t>(capacity)});
  httplib::Client client("127.0.0.1", host.port());
  client.set_keep_alive(true);
  client.set_read_timeout(120);
  client.set_tcp_nodelay(true);
  const long before = residentMemory();
  const auto start = std::chrono::steady_clock::now();
  long atTheCap = 0;
  int confirmed = 0;
  for (int number = 0; number < requests; ++number) {
    if (seconds > 0)
      std::this_thread::sleep_until(start + number * std::chrono::microseconds(1000000 / requestsASecond));
    const std::string body = RapidJSONSerialization().textOfAny(requestOf(number));
    const auto answer = client.Post("/marlune/v4", body, "application/json; charset=utf-8");
    confirmed += answer && answer->status == 200 ? 1 : 0;
    if (number == 2 * capacity) atTheCap = residentMemory();
  }
  const auto took = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const long grown = residentMemory() - atTheCap;
  EXPECT_EQ(confirmed, requests);
  const std::vector<ReceivedRequest> kept = host.requests();
  ASSERT_EQ(kept.size(), static_cast<std::size_t>(capacity));
  EXPECT_EQ(kept.back().id, requests);
  EXPECT_EQ(kept.front().id, requests - capacity + 1);
  EXPECT_LT(grown, 16 * 1024) << "KiB behind the cap, after " << took << " s";
  if (seconds > 0) {
    std::cout << "soak: " << confirmed << " of " << requests << " confirmed in " << took << " s; " << capacity
              << " kept in " << atTheCap - before << " KiB, and " << grown << " KiB more at the end\n";
  }
}

}  // namespace

}  // namespace fliprugair::controlhost
