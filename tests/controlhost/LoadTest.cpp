// 1,000 requests a second. FLIPRUGAIR_LOAD_SECONDS=60 takes a minute of it, with the figures.

#include <gtest/gtest.h>
#include <httplib.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "tools/controlhost/ControlHost.h"

namespace fliprugair::controlhost {

namespace {

constexpr int requestsASecond = 1000;
constexpr std::size_t capacity = 1000;

/// Of this process, in KiB.
long residentMemory() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmRSS:")) return std::atol(line.c_str() + 6);
  }
  return 0;
}

TEST(Load, NoRequestIsLostAndMemoryStaysFlatAtTheCap) {
  const char* wanted = std::getenv("FLIPRUGAIR_LOAD_SECONDS");
  const int seconds = wanted == nullptr ? 5 : std::atoi(wanted);
  ControlHost host({.capacity = capacity});
  httplib::Client client("127.0.0.1", host.port());
  client.set_keep_alive(true);
  client.set_tcp_nodelay(true);
  const auto start = std::chrono::steady_clock::now();
  long atTheCap = 0;
  int confirmed = 0;
  for (int number = 0; number < seconds * requestsASecond; ++number) {
    std::this_thread::sleep_until(start + number * std::chrono::microseconds(1000000 / requestsASecond));
    const std::string body =
        R"([{"action":"identityLink","marlune_device_id":"MI1","marlune_app_id":"demo","data":{"n":)" +
        std::to_string(number) + "}}]";
    const auto answer = client.Post("/marlune/v4", body, "application/json; charset=utf-8");
    confirmed += answer && answer->status == 200 ? 1 : 0;
    if (number == static_cast<int>(2 * capacity)) atTheCap = residentMemory();
  }
  const auto took = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const long grown = residentMemory() - atTheCap;
  RecordProperty("seconds", static_cast<int>(took));
  RecordProperty("grown_kib", static_cast<int>(grown));
  EXPECT_EQ(confirmed, seconds * requestsASecond);
  const std::vector<ReceivedRequest> kept = host.requests();
  ASSERT_EQ(kept.size(), capacity);
  EXPECT_EQ(kept.back().id, seconds * requestsASecond);
  EXPECT_EQ(kept.front().id, seconds * requestsASecond - static_cast<int>(capacity) + 1);
  EXPECT_LT(grown, 16 * 1024) << "KiB behind the cap, after " << took << " s";
}

}  // namespace

}  // namespace fliprugair::controlhost
