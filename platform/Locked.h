#pragma once

#include <mutex>
#include <utility>

namespace fliprugair {

/// A value of which each access is atomic. Sequences of accesses are not: who needs that has a lock of its own.
/// What a store replaces is destroyed outside the lock.
template <class T>
class Locked {
 public:
  Locked() = default;

  T load() const {
    const std::lock_guard lock(mutex_);
    return value_;
  }

  void store(T value) { exchange(std::move(value)); }

  /// What was held before.
  T exchange(T value) {
    const std::lock_guard lock(mutex_);
    return std::exchange(value_, std::move(value));
  }

 private:
  mutable std::mutex mutex_;
  T value_{};
};

}  // namespace fliprugair
