#pragma once

#include <mutex>
#include <thread>

#include "platform/linux/EventLoop.h"

namespace fliprugair {

/// The main thread of the platform's own: turns the loop from start() until the loop is stopped, and closes it
/// then, so that nobody waits for a task that would never run. Any thread.
class LoopThread {
 public:
  /// `loop` outlives this object.
  explicit LoopThread(EventLoop& loop) : loop_(loop) {}

  /// Has no effect the second time. False when the system has no thread for it.
  bool start();

  /// Waits until the loop is closed, for which it may have to wait no longer. False on the thread itself, which cannot
  /// wait for its own end.
  bool join();

 private:
  EventLoop& loop_;
  std::mutex mutex_;
  bool started_ = false;
  std::thread thread_;
};

}  // namespace fliprugair
