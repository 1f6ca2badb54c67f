#include "platform/sqlite/Checkpointer.h"

#include <utility>

#include "platform/posix/Threads.h"

namespace fliprugair {

Checkpointer::Checkpointer(std::function<bool(bool)> work, std::chrono::milliseconds pause)
    : work_(std::move(work)), pause_(pause), thread_(startThread("fliprugair-disk", [this] { run(); })) {}

void Checkpointer::stop() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    stops_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void Checkpointer::request(Urgency urgency) {
  const bool isUrgent = urgency == Urgency::now;
  if (requested_.load(std::memory_order_relaxed) && (!isUrgent || isUrgent_.load(std::memory_order_relaxed))) return;
  {
    const std::lock_guard lock(mutex_);
    requested_ = true;
    if (isUrgent) isUrgent_ = true;
  }
  changed_.notify_one();
}

void Checkpointer::awaitAttempt() {
  std::unique_lock lock(mutex_);
  const std::uint64_t before = attempts_;
  requested_ = true;
  isUrgent_ = true;
  changed_.notify_one();
  ended_.wait(lock, [&] { return stops_ || attempts_ != before; });
}

void Checkpointer::run() {
  std::unique_lock lock(mutex_);
  while (!stops_) {
    changed_.wait(lock, [this] { return stops_ || requested_; });
    const bool hasPaused = !changed_.wait_for(lock, pause_, [this] { return stops_ || isUrgent_; });
    if (stops_) return;
    isUrgent_ = false;
    requested_ = false;  // what is requested from now on may be more than the attempt finds
    lock.unlock();
    const bool isDone = work_(hasPaused);
    lock.lock();
    if (!isDone) requested_ = true;
    ++attempts_;
    ended_.notify_all();
  }
}

}  // namespace fliprugair
