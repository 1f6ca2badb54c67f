#pragma once

#include <gtest/gtest.h>

#include <Fliprugair/Fliprugair>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "Fliprugair/platform/linux/LinuxEnvironment.h"
#include "support/CheckedHost.h"
#include "support/Eventually.h"
#include "support/TemporaryFolder.h"

namespace fliprugair::e2e {

/// Receives attribution results.
class Listener final : public MarluneTrackerClientDelegate {
 public:
  void Marlune_attributionResult(const Value& attribution) override;
  std::vector<Value> results() const {
    const std::lock_guard lock(mutex_);
    return results_;
  }
  /// The name of the thread that brought the last one.
  std::string lastThread() const {
    const std::lock_guard lock(mutex_);
    return lastThread_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<Value> results_;
  std::string lastThread_;
};

/// How often each thread of this process whose name begins with `prefix` has gone to sleep by itself, by name and
/// number.
std::map<std::string, long> sleepsOfThreads(std::string_view prefix);

/// The options of an application that keeps everything in `folder` and says nothing on standard error.
LinuxOptions optionsIn(const std::filesystem::path& folder);

/// The parameters of a tracker that reports to that host.
Value optionsFor(const std::string& hostname);

/// One process life of a host app in this process: opened, launched and active on construction.
class HostApp {
 public:
  HostApp(LinuxOptions linuxOptions, const Value& trackerOptions);
  ~HostApp();

  LinuxEnvironment& environment() { return *environment_; }
  MarluneTracker& tracker() { return *tracker_; }
  const Listener& listener() const { return *listener_; }
  Value stored(std::string_view key) { return environment_->userDefaults().objectForKey(key); }

  void resign() { environment_->applicationWillResignActive(); }
  void activate() { environment_->applicationDidBecomeActive(); }
  /// Ends the environment, with what is pending, and then drops the tracker.
  void terminate();

 private:
  std::unique_ptr<LinuxEnvironment> environment_;
  std::shared_ptr<Listener> listener_ = std::make_shared<Listener>();
  std::shared_ptr<MarluneTracker> tracker_;
};

/// What a host finds in the requests of lives that are shorter than a second, where two reports can be equal, and of
/// those that end before a confirmation has reached the store.
inline const std::set<std::string> findingsOfShortLives{"duplicate", "resent"};
/// The same where several threads add to a batch before one of them takes it.
inline const std::set<std::string> findingsOfThreads{"batch-size", "duplicate", "resent"};
/// What it finds in the last request of a life that ends in the midst of sending it.
inline const std::set<std::string> findingsOfUnfinishedRequests{"The connection ended before the head did",
                                                                "The connection ended before the body did"};
inline std::set<std::string> withUnfinishedRequests(std::set<std::string> findings) {
  findings.insert(findingsOfUnfinishedRequests.begin(), findingsOfUnfinishedRequests.end());
  return findings;
}

/// The requests of one kind ("init", "batch", ...) that a host has received.
std::vector<controlhost::ReceivedRequest> requestsOf(const ControlHost& host, std::string_view kind);

/// The event names of all records in the batches that a host has received.
std::vector<std::string> eventNames(const ControlHost& host);

/// A port of 127.0.0.1 that nobody listens on now.
int freePort();

}  // namespace fliprugair::e2e
