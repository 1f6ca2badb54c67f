#pragma once

#include <mutex>
#include <type_traits>
#include <utility>

namespace fliprugair {

/// A value of which each access is atomic. Sequences of accesses are not: who needs that has a lock of its own.
/// What a store replaces is destroyed outside the lock. Nothing throws; a mutex that cannot be locked ends
/// the program.
template <class T>
class Locked {
  static_assert(std::is_nothrow_copy_constructible_v<T> && std::is_nothrow_move_constructible_v<T> &&
                std::is_nothrow_move_assignable_v<T>);

 public:
  Locked() = default;

  T load() const noexcept {
    const std::lock_guard lock(mutex_);
    return value_;
  }

  void store(T value) noexcept { exchange(std::move(value)); }

  /// What was held before.
  T exchange(T value) noexcept {
    const std::lock_guard lock(mutex_);
    return std::exchange(value_, std::move(value));
  }

 private:
  mutable std::mutex mutex_;
  T value_{};
};

}  // namespace fliprugair
