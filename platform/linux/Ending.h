#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

namespace fliprugair {

/// The end of something that another thread does, to be waited for. Any thread.
class Ending {
 public:
  /// Has no effect the second time.
  void end();

  bool hasEnded() const;
  void wait() const;
  void waitUntil(std::chrono::steady_clock::time_point deadline) const;

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable ended_;
  bool hasEnded_ = false;
};

/// `ending` for whoever brings it about: it has come, too, when nobody holds this any more.
std::shared_ptr<Ending> endAtTheLatestOf(std::shared_ptr<Ending> ending);

}  // namespace fliprugair
