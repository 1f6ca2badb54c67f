#pragma once

#include <atomic>

namespace fliprugair {

/// A mutex whose holders seldom meet, such as those of one device's store. While nobody else wants it, to take it and
/// to give it back are one atomic operation each, in line: a std::mutex asks its library, which looks first what kind
/// of mutex it is. Who has to wait sleeps. For std::lock_guard.
class ShortLock {
 public:
  void lock() noexcept {
    State expected = State::open;
    if (!state_.compare_exchange_strong(expected, State::taken, std::memory_order_acquire)) wait();
  }
  void unlock() noexcept {
    if (state_.exchange(State::open, std::memory_order_release) == State::awaited) wake();
  }

 private:
  enum class State : int { open, taken, awaited };

  void wait() noexcept;
  void wake() noexcept;

  std::atomic<State> state_ = State::open;
};

}  // namespace fliprugair
