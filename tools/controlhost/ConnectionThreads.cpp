#include "tools/controlhost/ConnectionThreads.h"

#include <system_error>
#include <utility>

namespace fliprugair::controlhost {

void ConnectionThreads::enqueue(std::function<void()> serve) {
  {
    const std::lock_guard lock(mutex_);
    if (waiting_.size() < idle_ || addThread()) {
      waiting_.push_back(std::move(serve));
      changed_.notify_one();
      return;
    }
  }
  serve();
}

/// With the lock held. False when there are enough, or the system refuses another one.
bool ConnectionThreads::addThread() {
  if (threads_.size() >= most_) return false;
  try {
    threads_.emplace_back([this] { work(); });
    return true;
  } catch (const std::system_error&) {
    return false;
  }
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
