#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "curl/Doubles.h"
#include "platform/curl/CurlNetwork.h"
#include "platform/json/RapidJSONSerialization.h"

namespace fliprugair::test {

inline constexpr std::string_view eventsSending = "com.marlune.marluneTracker.eventsSending";
inline constexpr std::string_view networkQueue = "com.marlune.marluneTracker.networkQueue";

/// A network with its surroundings. Every request that `send` sends has a background task, whose end is the last thing
/// that happens to it: that is what tests wait for.
class NetworkTest : public testing::Test {
 protected:
  /// A proxy of the machine that builds has no way to the servers of these tests.
  void SetUp() override {
    for (const char* name :
         {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY", "no_proxy", "NO_PROXY"})
      unsetenv(name);
  }

  /// Stops the network at the end of a scope: before the servers of that scope, which wait for their connections.
  struct Running {
    explicit Running(NetworkTest& started) : test(started) {}
    ~Running() {
      if (test.network_ != nullptr) test.network_->stop();
    }
    NetworkTest& test;
  };

  [[nodiscard]] Running start(CurlNetworkOptions options = {}) {
    network_ = std::make_unique<CurlNetwork>(options, store_, json_, application_,
                                             [this](std::string_view line) { log_.put(std::string(line)); });
    return Running(*this);
  }

  bool send(const std::string& hostname, const Value& payload, const Text& eventTimestamp = nullptr) {
    const std::shared_ptr<MarluneNetworkAccess> access = network_->makeAccess();
    access->setLoggingEnabled(true);
    access->setNetworkAccessDelegate(delegate_);
    access->setEventTimestamp(eventTimestamp);
    access->setBackgroundTask(application_.beginBackgroundTask("", [] {}));
    return access->sendHTTPRequestWithHostname(hostname, payload);
  }

  /// Sends a queued request and waits for its end.
  void sendQueued(const std::string& hostname, const Value& payload = Value{{"action", "initial"}}) {
    store_.setObject(Value{{"1.000000", payload}}, networkQueue);
    const std::size_t before = application_.ended.items().size();
    send(hostname, payload, "1.000000");
    ASSERT_EQ(application_.ended.wait(before + 1).size(), before + 1);
  }

  void expectAccepted() {
    EXPECT_EQ(store_.objectForKey(networkQueue), Value(Dictionary()));
    EXPECT_EQ(store_.objectForKey(eventsSending), Value(Dictionary()));
  }

  void expectStillQueued() {
    EXPECT_TRUE(store_.objectForKey(networkQueue).dictionary().holds("1.000000"));
    EXPECT_FALSE(store_.objectForKey(eventsSending).dictionary().holds("1.000000"));
    EXPECT_TRUE(delegate_->calls.items().empty());
  }

  void expectLogged(const std::string& part) {
    std::string all;
    for (const std::string& line : log_.items()) all += line + '\n';
    EXPECT_NE(all.find(part), std::string::npos) << "'" << part << "' is not in:\n" << all;
  }

  MemoryUserDefaults store_;
  RapidJSONSerialization json_;
  RecordingApplication application_;
  Mailbox<std::string> log_;
  std::shared_ptr<RecordingDelegate> delegate_ = std::make_shared<RecordingDelegate>();
  std::unique_ptr<CurlNetwork> network_;
};

}  // namespace fliprugair::test
