#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

namespace fliprugair {

/// The store's background thread. It sleeps until work is requested, then tries to do it after each pause, until it is
/// done; at once when it is urgent. Owned by StoreDisk.
/// Threads: `request` and `awaitAttempt` may be called from any other.
class Checkpointer {
 public:
  /// `work` makes an attempt, is told whether a pause came before it, and answers whether there is none to follow.
  /// Called on this thread only, with no lock held.
  Checkpointer(std::function<bool(bool)> work, std::chrono::milliseconds pause);
  ~Checkpointer() { stop(); }
  Checkpointer(const Checkpointer&) = delete;
  Checkpointer& operator=(const Checkpointer&) = delete;

  /// Waits for the attempt at hand; none follows.
  void stop();

  enum class Urgency { afterPause, now };

  /// Costs next to nothing while such a request waits.
  void request(Urgency urgency);

  /// Waits for the end of an attempt: that at hand, or one that begins at once.
  void awaitAttempt();

 private:
  void run();

  std::function<bool(bool)> work_;
  const std::chrono::milliseconds pause_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::condition_variable ended_;
  std::uint64_t attempts_ = 0;  ///< that have ended
  bool stops_ = false;
  std::atomic<bool> requested_ = false;
  std::atomic<bool> isUrgent_ = false;
  std::thread thread_;
};

}  // namespace fliprugair
