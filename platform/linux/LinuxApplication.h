#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string_view>

#include "Fliprugair/platform/Application.h"
#include "Fliprugair/platform/MainQueue.h"
#include "Fliprugair/platform/linux/Log.h"
#include "platform/linux/FactsInForce.h"
#include "platform/posix/ProcessMark.h"

namespace fliprugair {

/// The background tasks of the process. Each has the same time from its begin: when it is over, the task's expiration
/// handler runs on the main thread and the task has ended. Linux itself ends no process for it; what the time bounds is
/// how long the environment's termination waits.
///
/// Outlives the tasks of `mainQueue`. In a fork a task begins, and that is all.
class LinuxApplication final : public Application {
 public:
  LinuxApplication(MainQueue& mainQueue, std::chrono::duration<double> taskTime, const FactsInForce& facts, Log log);

  BackgroundTaskIdentifier beginBackgroundTask(std::string_view name, std::function<void()> expirationHandler) override;
  void endBackgroundTask(BackgroundTaskIdentifier task) override;
  int statusBarOrientation() const override;

  /// Runs `action` on the main thread when no background task is left. Those that still run when a task's time has
  /// passed from now expire then. Main thread only, once.
  void whenAllEnded(std::function<void()> action);

 private:
  using Clock = std::chrono::steady_clock;

  struct BackgroundTask {
    std::function<void()> expirationHandler;
    Clock::time_point begin;
    std::shared_ptr<Timer> expiry;  ///< set by the main thread soon after the begin
  };
  using Tasks = std::map<BackgroundTaskIdentifier, BackgroundTask>;

  void armExpiry(BackgroundTaskIdentifier task);
  void expire(BackgroundTaskIdentifier task);
  void lastCall();
  Tasks::node_type take(BackgroundTaskIdentifier task);
  void runActionIfAllEnded();

  const ProcessMark process_;
  MainQueue& mainQueue_;
  const std::chrono::duration<double> taskTime_;
  const FactsInForce& facts_;
  const Log log_;

  std::function<void()> allEnded_;  ///< main thread only, as the next
  std::shared_ptr<Timer> lastCallTimer_;

  std::mutex mutex_;  ///< around what follows
  Tasks tasks_;
  BackgroundTaskIdentifier lastTask_ = invalidBackgroundTask;
};

}  // namespace fliprugair
