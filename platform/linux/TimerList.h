#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "Fliprugair/platform/MainQueue.h"
#include "platform/FunctionRef.h"

namespace fliprugair {

/// The timers of a main queue in the order in which they fall due, those due at one time in the order of arming. Reads
/// no clock. Belongs to the main thread, like the timers, except that a timer may be dropped anywhere and at any time,
/// also after the list.
class TimerList {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;
  using Action = std::function<void()>;

  TimerList();

  std::shared_ptr<Timer> add(TimePoint due, std::string_view selector, Action&& action);

  /// When the next timer is due; none when there is no timer.
  std::optional<TimePoint> nextDeadline() const;

  /// Hands the actions that are due to `run`, one after the other. Neither those that an earlier one of them
  /// invalidates nor those that it adds are among them.
  void runDue(TimePoint now, FunctionRef<void(const Action& action, std::string_view selector)> run);

  /// Invalidates every timer, and from now on those that are added.
  void close();

 private:
  class ListedTimer;
  using Timers = std::vector<std::shared_ptr<ListedTimer>>;  ///< there are a handful

  Timers::iterator firstAfter(TimePoint time) const;

  std::shared_ptr<Timers> timers_;  ///< null when closed; the timers look at it weakly
};

}  // namespace fliprugair
