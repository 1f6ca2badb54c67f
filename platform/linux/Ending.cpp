#include "platform/linux/Ending.h"

#include <utility>

namespace fliprugair {

void Ending::end() {
  {
    const std::lock_guard lock(mutex_);
    hasEnded_ = true;
  }
  ended_.notify_all();
}

bool Ending::hasEnded() const {
  const std::lock_guard lock(mutex_);
  return hasEnded_;
}

void Ending::wait() const {
  std::unique_lock lock(mutex_);
  ended_.wait(lock, [this] { return hasEnded_; });
}

void Ending::waitUntil(std::chrono::steady_clock::time_point deadline) const {
  std::unique_lock lock(mutex_);
  ended_.wait_until(lock, deadline, [this] { return hasEnded_; });
}

std::shared_ptr<Ending> endAtTheLatestOf(std::shared_ptr<Ending> ending) {
  Ending* const ended = ending.get();
  return {ended, [held = std::move(ending)](Ending*) { held->end(); }};
}

}  // namespace fliprugair
