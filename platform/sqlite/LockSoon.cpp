#include "platform/sqlite/LockSoon.h"

#include <chrono>
#include <thread>

namespace fliprugair {

namespace {

constexpr std::chrono::microseconds longestSpin{50};

void spin(std::unique_lock<std::mutex>& lock) {
  const auto end = std::chrono::steady_clock::now() + longestSpin;
  while (std::chrono::steady_clock::now() < end) {
    std::this_thread::yield();
    if (lock.try_lock()) return;
  }
  lock.lock();
}

}  // namespace

std::unique_lock<std::mutex> lockSoon(std::mutex& mutex) {
  std::unique_lock lock(mutex, std::try_to_lock);
  if (!lock) spin(lock);
  return lock;
}

}  // namespace fliprugair
