#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>

#include "Fliprugair/collaborators/Environment.h"
#include "platform/json/RapidJSONSerialization.h"
#include "platform/virtual/VirtualDevice.h"
#include "platform/virtual/VirtualNetwork.h"
#include "platform/virtual/VirtualQueues.h"

namespace fliprugair {

class VirtualSearchAd;

/// One process of a virtual device: the environment that its trackers live in. A restart is a new object for the same
/// device. Whatever happens is written to the device's events.
/// Threads: tasks, timers and answers run on the thread that drives this object; posting, storing and logging may come
/// from any.
class VirtualProcess final : public Environment,
                             private Platform,
                             private Application,
                             private Bundle,
                             private Device,
                             private Surroundings,
                             private Documents {
 public:
  explicit VirtualProcess(VirtualDevice& device);
  ~VirtualProcess() override;

  /// Runs the main queue, then the global queue, and so on until both are empty.
  void runQueues();
  static constexpr double mostSeconds = 1e20;
  /// Lets time pass, mostSeconds at most: timers fire when due, the queues are run empty after each.
  void advance(double seconds);
  /// The end without a word: nothing runs, and nothing is written, from now on.
  void die();

  void post(ApplicationNotification notification) { notifications_.post(notification); }
  VirtualNetwork& network() { return network_; }
  VirtualMainQueue& mainQueue() override { return mainQueue_; }

  /// The search-ad service answers the newest search-ad object of this process. False when there is none, or nobody
  /// listens to it any more.
  bool answerSearchAd(const Value& details, bool unknown);
  /// Runs the expiration handler of a background task. False when it is unknown or has ended.
  bool expire(BackgroundTaskIdentifier task);
  /// The background tasks that have not ended.
  std::vector<BackgroundTaskIdentifier> backgroundTasks() const;

  /// A search-ad object of the host app's own, which the search-ad service does not answer.
  std::shared_ptr<MarluneRetrieveiAdAttribution> makeSearchAdOfTheHostApp();

  Platform& platform() override { return *this; }

 private:
  void write(const VirtualEvent& event);
  std::shared_ptr<VirtualSearchAd> makeSearchAd();

  // Environment
  std::shared_ptr<MarluneNetworkAccess> makeNetworkAccess() override { return network_.makeAccess(); }
  std::shared_ptr<MarluneLocationManager> makeLocationManager() override;
  std::shared_ptr<MarluneRetrieveiAdAttribution> makeRetrieveiAdAttribution() override;
  std::shared_ptr<MarluneHardwareInfo> makeHardwareInfo() override;
  std::shared_ptr<WebViewUserAgent> makeWebViewUserAgent() override;

  // Platform
  UserDefaults& userDefaults() override { return device_.store; }
  NotificationCenter& notificationCenter() override { return notifications_; }
  GlobalQueue& globalQueue() override { return globalQueue_; }
  Application& application() override { return *this; }
  Bundle& bundle() override { return *this; }
  Device& device() override { return *this; }
  Surroundings& surroundings() override { return *this; }
  Documents& documents() override { return *this; }
  JSONSerialization& json() override { return json_; }
  double secondsSince1970() override { return device_.now(); }
  std::string randomUUID() override { return device_.randomUUID(); }
  void log(std::string_view line) override;

  // Application
  BackgroundTaskIdentifier beginBackgroundTask(std::string_view name, std::function<void()> expirationHandler) override;
  void endBackgroundTask(BackgroundTaskIdentifier task) override;
  int statusBarOrientation() const override { return facts().orientation; }

  // Bundle, Device, Surroundings, Documents
  Value infoEntry(std::string_view key) const override;
  Value encodedReceipt() const override;
  std::string systemName() const override { return facts().systemName; }
  std::string systemVersion() const override { return facts().systemVersion; }
  double foundationVersionNumber() const override { return facts().foundationVersion; }
  std::optional<std::string> identifierForVendor() const override { return facts().idfv; }
  std::optional<std::string> advertisingIdentifier() const override { return facts().idfa; }
  bool advertisingTrackingEnabled() const override { return facts().adTrackingEnabled; }
  std::vector<std::string> preferredLanguages() const override { return facts().languages; }
  std::optional<Screen> mainScreen() const override { return facts().screen; }
  Reachability reachability(std::string_view host) const override;
  bool locationServicesEnabled() const override { return facts().locationServices; }
  int locationAuthorizationStatus() const override { return facts().locationStatus; }
  std::optional<Pasteboard> pasteboard(std::string_view name) const override;
  std::string pathForFile(std::string_view name) const override;
  bool unarchivesAsObject(const std::string& path) const override;

  const VirtualFacts& facts() const { return device_.facts; }

  VirtualDevice& device_;
  std::atomic<bool> dead_ = false;
  RapidJSONSerialization json_;
  NotificationCenter notifications_;
  VirtualMainQueue mainQueue_;
  VirtualGlobalQueue globalQueue_;
  VirtualNetwork network_;
  mutable std::mutex backgroundTasksMutex_;
  std::map<BackgroundTaskIdentifier, std::function<void()>> backgroundTasks_;
  std::shared_ptr<VirtualSearchAd> newestSearchAd_;
};

}  // namespace fliprugair
