#include <gtest/gtest.h>

#include "platform/linux/RedirectedNetworkAccess.h"

namespace fliprugair {
namespace {

/// Remembers what it is told.
struct Told final : MarluneNetworkAccess {
  void setLoggingEnabled(bool enabled) override { logging = enabled; }
  void setNetworkAccessDelegate(std::weak_ptr<MarluneNetworkAccessDelegate> given) override { delegate = given; }
  void setEventTimestamp(const Text& given) override { timestamp = given.string(); }
  void setBackgroundTask(BackgroundTaskIdentifier given) override { task = given; }
  bool sendHTTPRequestWithHostname(const std::string& given, const Value& sent) override {
    hostname = given;
    payload = sent;
    return isAccepting;
  }

  bool logging = false;
  std::weak_ptr<MarluneNetworkAccessDelegate> delegate;
  std::string timestamp;
  BackgroundTaskIdentifier task = invalidBackgroundTask;
  std::string hostname;
  Value payload;
  bool isAccepting = true;
};

TEST(RedirectedNetworkAccess, HandsOnEverythingButTheHost) {
  const auto told = std::make_shared<Told>();
  const auto delegate = std::make_shared<MarluneNetworkAccessDelegate>();
  RedirectedNetworkAccess access(told, "127.0.0.1:1");
  access.setLoggingEnabled(true);
  access.setNetworkAccessDelegate(delegate);
  access.setEventTimestamp("12.5");
  access.setBackgroundTask(7);
  EXPECT_TRUE(access.sendHTTPRequestWithHostname("example.com", Value{{"action", "init"}}));
  EXPECT_TRUE(told->logging);
  EXPECT_EQ(told->delegate.lock(), delegate);
  EXPECT_EQ(told->timestamp, "12.5");
  EXPECT_EQ(told->task, 7U);
  EXPECT_EQ(told->hostname, "127.0.0.1:1");
  EXPECT_EQ(told->payload, (Value{{"action", "init"}}));
  told->isAccepting = false;
  EXPECT_FALSE(access.sendHTTPRequestWithHostname("example.com", Value()));
}

}  // namespace
}  // namespace fliprugair
