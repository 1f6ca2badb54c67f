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
#include "support/ThreadSleeps.h"

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

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "fliprugair-XXXXXX").string();
    path_ = mkdtemp(name.data());
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

  /// Makes the folders that the file needs.
  void write(const std::filesystem::path& file, std::string_view content) const {
    std::filesystem::create_directories((path_ / file).parent_path());
    std::ofstream(path_ / file, std::ios::binary) << content;
  }

 private:
  std::filesystem::path path_;
};

class MemoryUserDefaults final : public UserDefaults {
 public:
  Value objectForKey(std::string_view key) const override {
    const std::lock_guard lock(mutex_);
    const auto found = values_.find(key);
    return found == values_.end() ? Value() : found->second;
  }
  void setObject(Value value, std::string_view key) override {
    const std::lock_guard lock(mutex_);
    values_[std::string(key)] = std::move(value);
  }
  void update(std::string_view key, const std::function<Value(const Value&)>& change) override {
    const std::lock_guard lock(mutex_);
    Value& value = values_[std::string(key)];
    value = change(value);
  }
  void synchronize() override { ++synchronized; }
  void whenDurable(std::function<void()> action) override { action(); }
  void beginGroup() override {}
  void endGroup() override {}

  std::atomic<int> synchronized = 0;

 private:
  mutable std::mutex mutex_;
  std::map<std::string, Value, std::less<>> values_;
};

class UnusedNetworkAccess final : public MarluneNetworkAccess {
 public:
  void setLoggingEnabled(bool /*enabled*/) override {}
  void setNetworkAccessDelegate(std::weak_ptr<MarluneNetworkAccessDelegate> /*delegate*/) override {}
  void setEventTimestamp(const Text& /*timestamp*/) override {}
  void setBackgroundTask(BackgroundTaskIdentifier /*task*/) override {}
  bool sendHTTPRequestWithHostname(const std::string& /*hostname*/, const Value& /*payload*/) override { return false; }
};

/// Options of an environment that touches neither files nor the network.
inline LinuxOptions isolatedOptions(MainThread mainThread = MainThread::own) {
  LinuxOptions options;
  options.bundleIdentifier = "com.example.app";
  options.mainThread = mainThread;
  options.userDefaults = std::make_shared<MemoryUserDefaults>();
  options.makeNetworkAccess = [](Platform&) { return std::make_shared<UnusedNetworkAccess>(); };
  options.log = [](std::string_view) {};
  return options;
}

}  // namespace fliprugair
