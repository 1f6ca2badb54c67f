#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "Fliprugair/platform/linux/LinuxEnvironment.h"
#include "platform/linux/StandIns.h"
#include "support/MemoryUserDefaults.h"
#include "support/TemporaryFolder.h"
#include "support/ThreadSleeps.h"
#include "support/WireFormat.h"

namespace fliprugair {

/// Far longer than anything takes that is going to happen.
inline constexpr std::chrono::seconds patience(60);

/// Something that happens once, on any thread. Whoever waits for it may destroy this object while the other thread is
/// still on its way out of happens().
class Happening {
 public:
  void happens() {
    const std::shared_ptr<std::promise<void>> promise = promise_;
    promise->set_value();
  }
  bool happened() const { return future_.wait_for(patience) == std::future_status::ready; }
  bool hasHappened() const { return future_.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }

 private:
  std::shared_ptr<std::promise<void>> promise_ = std::make_shared<std::promise<void>>();
  std::shared_future<void> future_ = promise_->get_future().share();
};

/// Lines or names in the order in which they came, from any thread.
class Record {
 public:
  void add(std::string_view line) {
    const std::lock_guard lock(mutex_);
    lines_.emplace_back(line);
  }
  std::vector<std::string> lines() const {
    const std::lock_guard lock(mutex_);
    return lines_;
  }
  Log log() {
    return [this](std::string_view line) { add(line); };
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

/// A network without a way out, which checks what a tracker would send. The schemas come with the control host, which
/// can be left out of a build.
class CheckedNetworkAccess final : public MarluneNetworkAccess {
 public:
  void setLoggingEnabled(bool /*enabled*/) override {}
  void setNetworkAccessDelegate(std::weak_ptr<MarluneNetworkAccessDelegate> /*delegate*/) override {}
  void setEventTimestamp(const Text& /*timestamp*/) override {}
  void setBackgroundTask(BackgroundTaskIdentifier /*task*/) override {}
  bool sendHTTPRequestWithHostname(const std::string& /*hostname*/, [[maybe_unused]] const Value& payload) override {
#ifdef FLIPRUGAIR_WIRE_CHECKED
    EXPECT_EQ(test::wireFaults(payload), "");
#endif
    return false;
  }
};

/// Options of an environment that touches neither files nor the network.
inline LinuxOptions isolatedOptions(MainThread mainThread = MainThread::own) {
  LinuxOptions options;
  options.bundleIdentifier = "com.example.app";
  options.mainThread = mainThread;
  options.userDefaults = std::make_shared<MemoryUserDefaults>();
  options.makeNetworkAccess = [](Platform&) { return std::make_shared<CheckedNetworkAccess>(); };
  options.log = [](std::string_view) {};
  return options;
}

/// The environment, or a null pointer and a failed test when it is refused.
inline std::unique_ptr<LinuxEnvironment> opened(LinuxOptions options) {
  LinuxEnvironment::Result result = LinuxEnvironment::open(std::move(options));
  EXPECT_EQ(result.error, "");
  return std::move(result.environment);
}

}  // namespace fliprugair
