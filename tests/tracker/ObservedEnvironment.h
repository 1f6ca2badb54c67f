#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "Fliprugair/platform/Platform.h"
#include "platform/virtual/VirtualProcess.h"

namespace fliprugair {

/// A store that says what is written to it, on the writing thread.
class ObservedStore final : public UserDefaults {
 public:
  explicit ObservedStore(UserDefaults& store) : store_(store) {}

  std::function<void(std::string_view key, const Value& value)> onSet = [](std::string_view, const Value&) {};

  Value objectForKey(std::string_view key) const override { return store_.objectForKey(key); }
  void setObject(Value value, std::string_view key) override {
    onSet(key, value);
    store_.setObject(std::move(value), key);
  }
  void update(std::string_view key, const std::function<Value(const Value&)>& change) override {
    store_.update(key, change);
  }
  void synchronize() override { store_.synchronize(); }
  void beginGroup() override { store_.beginGroup(); }
  void endGroup() override { store_.endGroup(); }

 private:
  UserDefaults& store_;
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
};

}  // namespace fliprugair
