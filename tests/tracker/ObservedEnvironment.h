#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "Fliprugair/platform/Platform.h"
#include "platform/virtual/VirtualProcess.h"

namespace fliprugair {

/// A store that says what is read and written, on the thread that does it, and knows what a kill would lose. Groups
/// count for one thread.
class ObservedStore final : public UserDefaults {
 public:
  explicit ObservedStore(UserDefaults& store) : store_(store) {}

  std::function<void(std::string_view key, const Value& value)> onSet = [](std::string_view, const Value&) {};
  std::function<void(std::string_view key)> onGet = [](std::string_view) {};
  std::function<void()> onBeginGroup = [] {};
  std::function<void()> onEndGroup = [] {};
  bool hasGroups = true;  ///< without, each synchronization stands for itself

  /// The keys whose last write is not durable yet.
  std::set<std::string, std::less<>> undurable() const {
    const std::lock_guard lock(mutex_);
    return undurable_;
  }

  Value objectForKey(std::string_view key) const override {
    onGet(key);
    return store_.objectForKey(key);
  }
  void setObject(Value value, std::string_view key) override {
    onSet(key, value);
    store_.setObject(std::move(value), key);
    note(key);
  }
  void update(std::string_view key, const std::function<Value(const Value&)>& change) override {
    onGet(key);
    store_.update(key, change);
    note(key);
  }
  void synchronize() override {
    const std::lock_guard lock(mutex_);
    isWanted_ = groups_ > 0;
    if (groups_ == 0 || !hasGroups) undurable_.clear();
  }
  void beginGroup() override {
    onBeginGroup();
    const std::lock_guard lock(mutex_);
    ++groups_;
  }
  void endGroup() override {
    const std::lock_guard lock(mutex_);
    if (--groups_ == 0 && std::exchange(isWanted_, false) && hasGroups) undurable_.clear();
    onEndGroup();
  }

 private:
  void note(std::string_view key) {
    const std::lock_guard lock(mutex_);
    undurable_.emplace(key);
  }

  UserDefaults& store_;
  mutable std::mutex mutex_;
  std::set<std::string, std::less<>> undurable_;
  int groups_ = 0;
  bool isWanted_ = false;
};

/// A virtual process, with a log sink and a look at the store's writes of its own.
class ObservedEnvironment final : public Environment, private Platform {
 public:
  explicit ObservedEnvironment(VirtualProcess& process)
      : process_(process), inner_(process), store(process.platform().userDefaults()) {}
  /// Tasks that wait in the process's queues hold trackers of this environment.
  ~ObservedEnvironment() override { process_.runQueues(); }

 private:
  VirtualProcess& process_;
  Environment& inner_;

 public:
  ObservedStore store;
  /// Receives the diagnostic lines, on the thread that logs.
  std::function<void(std::string_view line)> onLog = [](std::string_view) {};
  /// As in a fork of the process that opened it.
  bool inert = false;
  /// Runs before each collaborator is made.
  std::function<void()> onMake = [] {};

  Platform& platform() override { return *this; }
  std::shared_ptr<MarluneNetworkAccess> makeNetworkAccess() override {
    onMake();
    return inner_.makeNetworkAccess();
  }
  std::shared_ptr<MarluneLocationManager> makeLocationManager() override {
    onMake();
    return inner_.makeLocationManager();
  }
  std::shared_ptr<MarluneRetrieveiAdAttribution> makeRetrieveiAdAttribution() override {
    onMake();
    return inner_.makeRetrieveiAdAttribution();
  }
  std::shared_ptr<MarluneHardwareInfo> makeHardwareInfo() override {
    onMake();
    return inner_.makeHardwareInfo();
  }
  std::shared_ptr<WebViewUserAgent> makeWebViewUserAgent() override {
    onMake();
    return inner_.makeWebViewUserAgent();
  }

 private:
  UserDefaults& userDefaults() override { return store; }
  NotificationCenter& notificationCenter() override { return inner_.platform().notificationCenter(); }
  MainQueue& mainQueue() override { return inner_.platform().mainQueue(); }
  GlobalQueue& globalQueue() override { return inner_.platform().globalQueue(); }
  Application& application() override { return inner_.platform().application(); }
  Bundle& bundle() override { return inner_.platform().bundle(); }
  Device& device() override { return inner_.platform().device(); }
  Surroundings& surroundings() override { return inner_.platform().surroundings(); }
  Documents& documents() override { return inner_.platform().documents(); }
  JSONSerialization& json() override { return inner_.platform().json(); }
  double secondsSince1970() override { return inner_.platform().secondsSince1970(); }
  std::string randomUUID() override { return inner_.platform().randomUUID(); }
  void log(std::string_view line) override { onLog(line); }
  bool isInert() const override { return inert; }
};

}  // namespace fliprugair
