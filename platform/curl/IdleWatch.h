#pragma once

#include <cstddef>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

namespace fliprugair {

/// Counts what is under way and calls those who wait until there is nothing, with no lock held. Any thread.
class IdleWatch {
 public:
  void begin() {
    const std::lock_guard lock(mutex_);
    ++underWay_;
  }

  void end() {
    std::vector<std::function<void()>> due;
    {
      const std::lock_guard lock(mutex_);
      if (--underWay_ == 0) due.swap(actions_);
    }
    for (const auto& action : due) {
      try {
        action();
      } catch (...) {
        // Out of memory; whoever waits has a time-out of its own.
      }
    }
  }

  bool isIdle() const {
    const std::lock_guard lock(mutex_);
    return underWay_ == 0;
  }

  void whenIdle(std::function<void()> action) {
    {
      const std::lock_guard lock(mutex_);
      if (underWay_ > 0) {
        actions_.push_back(std::move(action));
        return;
      }
    }
    action();
  }

 private:
  mutable std::mutex mutex_;
  std::size_t underWay_ = 0;
  std::vector<std::function<void()>> actions_;
};

}  // namespace fliprugair
