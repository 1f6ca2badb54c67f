#pragma once

#include <mutex>
#include <thread>

#include "platform/linux/EventLoop.h"

namespace fliprugair {

/// The main thread of the platform's own: turns the loop from start() until the loop is stopped. Any thread.
class LoopThread {
 public:
  /// `loop` outlives this object.
  explicit LoopThread(EventLoop& loop) : loop_(loop) {}

  /// Has no effect the second time. False when the system has no thread for it.
  bool start();

  /// Waits until the loop was stopped. False when there is nothing to wait for: it was waited for before, or this is
  /// the thread itself.
  bool join();

 private:
  EventLoop& loop_;
  std::mutex mutex_;
  bool started_ = false;
  std::thread thread_;
};

}  // namespace fliprugair
