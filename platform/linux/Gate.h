#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace fliprugair {

/// The way in for calls that arrive on the host app's own threads: once closed, it lets none in. Shared by the
/// environment and by whoever may still call when the environment is gone. Any thread; no lock is held during a call.
class Gate {
 public:
  /// Runs `call` now, or never when the gate is closed.
  void pass(const std::function<void()>& call);

  /// Returns when no call is inside any more. Not from inside.
  void close();

  /// Whether a call that passed is running further up on this thread.
  bool isInside() const;

 private:
  class Visit;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::thread::id> inside_;
  bool closed_ = false;
};

}  // namespace fliprugair
