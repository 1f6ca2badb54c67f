#include "tools/controlhost/ConnectionThreads.h"

#include <utility>

namespace fliprugair::controlhost {

void ConnectionThreads::enqueue(std::function<void()> serve) {
  {
    const std::lock_guard lock(mutex_);
    const bool taken = waiting_.size() < idle_ || threads_.size() < most_;
    if (taken) {
      waiting_.push_back(std::move(serve));
      if (waiting_.size() > idle_) threads_.emplace_back([this] { work(); });
      changed_.notify_one();
      return;
    }
  }
  serve();
}

void ConnectionThreads::work() {
  std::unique_lock lock(mutex_);
  for (;;) {
    ++idle_;
    changed_.wait(lock, [this] { return ending_ || !waiting_.empty(); });
    --idle_;
    if (waiting_.empty()) return;
    const std::function<void()> serve = std::move(waiting_.front());
    waiting_.pop_front();
    lock.unlock();
    serve();
    lock.lock();
  }
}

void ConnectionThreads::shutdown() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  changed_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

}  // namespace fliprugair::controlhost
