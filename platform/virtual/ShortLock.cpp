#include "platform/virtual/ShortLock.h"

namespace fliprugair {

/// Whoever has waited leaves it as awaited, for others may wait still: the last of them wakes nobody.
void ShortLock::wait() noexcept {
  while (state_.exchange(State::awaited, std::memory_order_acquire) != State::open) {
    state_.wait(State::awaited, std::memory_order_relaxed);
  }
}

void ShortLock::wake() noexcept { state_.notify_one(); }

}  // namespace fliprugair
