#pragma once

#include <sys/eventfd.h>

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace fliprugair {

/// Asks a search to stop, and wakes what it waits in. Any thread. (Not every standard library has std::stop_token.)
class GpsdStop {
 public:
  void request() {
    const std::lock_guard lock(mutex_);
    isRequested_ = true;
    if (wake_ >= 0) eventfd_write(wake_, 1);
    requested_.notify_all();
  }

  /// Returns at `end`, or as soon as a stop is requested.
  void waitUntil(std::chrono::steady_clock::time_point end) {
    std::unique_lock lock(mutex_);
    requested_.wait_until(lock, end, [this] { return isRequested_; });
  }

  bool isRequested() const {
    const std::lock_guard lock(mutex_);
    return isRequested_;
  }

  /// From now on a request makes this event descriptor readable; -1 is none. One that came before does not.
  void setWake(int eventDescriptor) {
    const std::lock_guard lock(mutex_);
    wake_ = eventDescriptor;
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable requested_;
  bool isRequested_ = false;
  int wake_ = -1;
};

}  // namespace fliprugair
