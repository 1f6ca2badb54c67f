#include "platform/linux/WorkerPool.h"

#include <exception>
#include <utility>

#include "platform/linux/GuardedLog.h"
#include "platform/posix/Threads.h"

namespace fliprugair {

void WorkerPool::async(Task task) {
  if (!process_.isOwnProcess()) return;
  bool noThread = false;
  {
    const std::lock_guard lock(mutex_);
    if (stopped_) return;
    threads_.reserve(maximumThreads);  // a thread that has been started must find its place
    tasks_.push_back(std::move(task));
    if (tasks_.size() > idle_ && threads_.size() < maximumThreads) {
      try {
        threads_.push_back(startThread("fliprugair-work", this, [this] { work(); }));
      } catch (const std::exception&) {
        noThread = threads_.empty();
      }
    }
  }
  changed_.notify_one();
  if (noThread) log_("No thread for the global queue: its tasks wait for the next one that is posted.");
}

void WorkerPool::work() {
  std::unique_lock lock(mutex_);
  while (true) {
    ++idle_;
    changed_.wait(lock, [this] { return stopped_ || !tasks_.empty(); });
    --idle_;
    if (stopped_) return;
    Task task = std::move(tasks_.front());
    tasks_.pop_front();
    lock.unlock();
    runGuarded(task, "A task of the global queue", log_);
    task = nullptr;
    lock.lock();
  }
}

void WorkerPool::stop() {
  std::vector<std::thread> threads;
  {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    std::swap(threads, threads_);
  }
  changed_.notify_all();
  tasks_.clear();  // without the lock, since what they hold may call async; nobody takes or adds any more
  for (std::thread& thread : threads) thread.join();
}

}  // namespace fliprugair
