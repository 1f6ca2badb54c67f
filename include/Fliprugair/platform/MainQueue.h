#pragma once

#include <functional>
#include <memory>
#include <string_view>

namespace fliprugair {

/// A one-shot timer of the main queue. The queue holds it until it fires or is invalidated: dropping one's reference
/// does not stop it.
class Timer {
 public:
  virtual ~Timer() = default;

  /// Keeps the action from running. Main queue only. Has no effect on a timer that has fired or was invalidated.
  virtual void invalidate() = 0;

  /// Whether the action is still to run. Main queue only.
  virtual bool isValid() const = 0;
};

/// Runs work in order on the main thread.
class MainQueue {
 public:
  using Task = std::function<void()>;

  virtual ~MainQueue() = default;

  /// Runs `task` later on the main thread, after every task posted before it; never before this call returns.
  /// Any thread. Tasks that are left when the process ends are dropped without running.
  virtual void async(Task task) = 0;

  /// Runs `action` once on the main thread when `seconds` have passed (at once on a later turn when they are not
  /// above 0). Main thread only. `selector` names the action for diagnostics; it must outlive the timer (a literal).
  virtual std::shared_ptr<Timer> scheduleTimer(double seconds, std::string_view selector, Task action) = 0;
};

/// Runs work on threads of its own, several at a time, in no promised order.
class GlobalQueue {
 public:
  using Task = std::function<void()>;

  virtual ~GlobalQueue() = default;

  /// Runs `task` soon on another thread than the main one. Any thread.
  virtual void async(Task task) = 0;
};

}  // namespace fliprugair
