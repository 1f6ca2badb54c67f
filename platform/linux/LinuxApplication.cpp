#include "platform/linux/LinuxApplication.h"

#include <utility>
#include <vector>

#include "platform/linux/GuardedLog.h"

namespace fliprugair {

LinuxApplication::LinuxApplication(MainQueue& mainQueue, std::chrono::duration<double> taskTime,
                                   const FactsInForce& facts, Log log)
    : mainQueue_(mainQueue), taskTime_(taskTime), facts_(facts), log_(std::move(log)) {}

BackgroundTaskIdentifier LinuxApplication::beginBackgroundTask(std::string_view /*name*/,
                                                               std::function<void()> expirationHandler) {
  if (!process_.isOwnProcess()) return invalidBackgroundTask + 1;
  const Clock::time_point begin = Clock::now();
  BackgroundTaskIdentifier task = invalidBackgroundTask;
  {
    const std::lock_guard lock(mutex_);
    task = ++lastTask_;
    tasks_.emplace(task, BackgroundTask{std::move(expirationHandler), begin, nullptr});
  }
  mainQueue_.async([this, task] { armExpiry(task); });
  return task;
}

void LinuxApplication::armExpiry(BackgroundTaskIdentifier task) {
  // Nothing but the main thread expires tasks, so one that ends meanwhile only leaves a timer to be invalidated.
  std::unique_lock lock(mutex_);
  const auto found = tasks_.find(task);
  if (found == tasks_.end()) return;
  const std::chrono::duration<double> left = taskTime_ - (Clock::now() - found->second.begin);
  lock.unlock();
  const std::shared_ptr<Timer> expiry =
      mainQueue_.scheduleTimer(left.count(), "backgroundTaskExpired", [this, task] { expire(task); });
  lock.lock();
  const auto stillThere = tasks_.find(task);
  if (stillThere != tasks_.end()) {
    stillThere->second.expiry = expiry;
    return;
  }
  lock.unlock();
  expiry->invalidate();
}

void LinuxApplication::endBackgroundTask(BackgroundTaskIdentifier task) {
  if (!process_.isOwnProcess()) return;
  const Tasks::node_type ended = take(task);
  if (ended.empty()) return;
  mainQueue_.async([this, expiry = ended.mapped().expiry] {
    if (expiry != nullptr) expiry->invalidate();
    runActionIfAllEnded();
  });
}

void LinuxApplication::expire(BackgroundTaskIdentifier task) {
  const Tasks::node_type expired = take(task);
  if (expired.empty()) return;
  const BackgroundTask& over = expired.mapped();
  if (over.expiry != nullptr) over.expiry->invalidate();
  if (over.expirationHandler) runGuarded(over.expirationHandler, "An expiration handler", log_);
  runActionIfAllEnded();
}

void LinuxApplication::lastCall() {
  std::vector<BackgroundTaskIdentifier> left;
  {
    const std::lock_guard lock(mutex_);
    for (const auto& [task, description] : tasks_) left.push_back(task);
  }
  for (const BackgroundTaskIdentifier task : left) expire(task);
  // A task that an expiration handler began is not waited for, or this could go on for ever.
  if (allEnded_) std::exchange(allEnded_, nullptr)();
}

LinuxApplication::Tasks::node_type LinuxApplication::take(BackgroundTaskIdentifier task) {
  const std::lock_guard lock(mutex_);
  return tasks_.extract(task);
}

void LinuxApplication::whenAllEnded(std::function<void()> action) {
  allEnded_ = std::move(action);
  lastCallTimer_ = mainQueue_.scheduleTimer(taskTime_.count(), "backgroundTasksExpired", [this] { lastCall(); });
  runActionIfAllEnded();
}

void LinuxApplication::runActionIfAllEnded() {
  {
    const std::lock_guard lock(mutex_);
    if (!tasks_.empty()) return;
  }
  if (!allEnded_) return;
  lastCallTimer_->invalidate();
  std::exchange(allEnded_, nullptr)();
}

int LinuxApplication::statusBarOrientation() const { return facts_.load()->statusBarOrientation; }

}  // namespace fliprugair
