#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace fliprugair {

/// The store's background thread. It sleeps until work is requested, then does a piece of it after the other, with a
/// short rest in between, until nothing is left. Owned by StoreDisk; ends, and waits for the piece at hand, when
/// destroyed. Threads: `request` may be called from any.
class Checkpointer {
 public:
  /// `work` does a piece and answers whether that was all. Called on this thread only, with no lock held.
  explicit Checkpointer(std::function<bool()> work);
  ~Checkpointer();
  Checkpointer(const Checkpointer&) = delete;
  Checkpointer& operator=(const Checkpointer&) = delete;

  /// Costs next to nothing while a request is being worked on.
  void request();

 private:
  void run();

  std::function<bool()> work_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool stops_ = false;
  std::atomic<bool> requested_ = false;
  std::thread thread_;
};

}  // namespace fliprugair
