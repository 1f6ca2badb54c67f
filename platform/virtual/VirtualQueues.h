#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Fliprugair/platform/MainQueue.h"
#include "platform/virtual/ShortLock.h"
#include "platform/virtual/VirtualDevice.h"

namespace fliprugair {

/// Tasks that wait until they are run. Any thread may post; one thread runs them.
class VirtualTasks {
 public:
  using Task = std::function<void()>;

  void post(Task&& task);
  /// Runs until none is left, those included that are posted meanwhile. Whether there was any.
  bool runEmpty();
  /// Drops what is left and what is posted from now on.
  void close();

 private:
  void forgetRun();

  ShortLock mutex_;
  std::vector<Task> tasks_;
  std::size_t next_ = 0;  ///< to run; those before it have been taken
  bool closed_ = false;
  std::atomic<bool> isEmpty_ = true;  ///< to be seen without the lock
};

/// The main queue in virtual time: tasks wait for `run`, timers for `advance`.
class VirtualMainQueue final : public MainQueue {
 public:
  explicit VirtualMainQueue(VirtualDevice& device);
  ~VirtualMainQueue() override;

  void async(Task task) override { tasks_.post(std::move(task)); }
  std::shared_ptr<Timer> scheduleTimer(double seconds, std::string_view selector, Task action) override;

  VirtualTasks& tasks() { return tasks_; }

  /// Takes the first timer that is due at `uptime` or before, moves the clock to its due time and runs its action.
  /// False when there is none.
  bool fireNext(VirtualDevice::Nanoseconds uptime);

  /// When the next timer is due, be it in the past; none when no timer will fire.
  std::optional<VirtualDevice::Nanoseconds> nextDeadline() const;

  struct Armed {
    std::string selector;
    double dueIn;  ///< seconds
  };
  /// The armed timers in due order.
  std::vector<Armed> armed() const;

  /// No timer fires or stops from now on, and no task runs.
  void close();

 private:
  class VirtualTimer;

  using Timers = std::vector<std::shared_ptr<VirtualTimer>>;

  void stop(const VirtualTimer& timer);
  std::shared_ptr<VirtualTimer> taken(Timers::iterator place);

  VirtualDevice& device_;
  VirtualTasks tasks_;
  Timers armed_;  ///< by due time and order of arming
};

/// The global queue: its tasks run when the main queue is empty.
class VirtualGlobalQueue final : public GlobalQueue {
 public:
  void async(Task task) override { tasks_.post(std::move(task)); }
  VirtualTasks& tasks() { return tasks_; }

 private:
  VirtualTasks tasks_;
};

}  // namespace fliprugair
