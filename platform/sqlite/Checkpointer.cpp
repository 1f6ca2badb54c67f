#include "platform/sqlite/Checkpointer.h"

#include <utility>

#include "platform/posix/Threads.h"

namespace fliprugair {

Checkpointer::Checkpointer(std::function<bool()> work, std::chrono::milliseconds pause)
    : work_(std::move(work)), pause_(pause), thread_(startThread("fliprugair-disk", [this] { run(); })) {}

Checkpointer::~Checkpointer() {
  {
    const std::lock_guard lock(mutex_);
    stops_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void Checkpointer::request() {
  if (requested_.load(std::memory_order_relaxed)) return;
  {
    const std::lock_guard lock(mutex_);
    requested_ = true;
  }
  changed_.notify_one();
}

void Checkpointer::run() {
  std::unique_lock lock(mutex_);
  while (!stops_) {
    changed_.wait(lock, [this] { return stops_ || requested_; });
    changed_.wait_for(lock, pause_, [this] { return stops_; });
    if (stops_) return;
    requested_ = false;  // what is requested from now on may be more than the attempt finds
    lock.unlock();
    const bool isDone = work_();
    lock.lock();
    if (!isDone) requested_ = true;
  }
}

}  // namespace fliprugair
