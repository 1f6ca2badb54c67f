#include "platform/linux/store/Checkpointer.h"

#include <pthread.h>

#include <csignal>
#include <utility>

namespace fliprugair {

Checkpointer::Checkpointer(std::function<bool()> work, std::chrono::milliseconds pause)
    : work_(std::move(work)), pause_(pause) {
  // The host's signals are for the host's threads. A fault of this thread's own is not: blocked, it would end the
  // process unseen by the host's crash handler.
  sigset_t blocked;
  sigset_t before;
  sigfillset(&blocked);
  for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS}) sigdelset(&blocked, fault);
  pthread_sigmask(SIG_SETMASK, &blocked, &before);
  try {
    thread_ = std::thread([this] { run(); });
  } catch (...) {
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    throw;
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

Checkpointer::~Checkpointer() {
  {
    const std::lock_guard lock(mutex_);
    stops_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void Checkpointer::ask(std::atomic<bool>& wish) {
  if (wish.load(std::memory_order_relaxed)) return;
  {
    const std::lock_guard lock(mutex_);
    wish = true;
  }
  changed_.notify_one();
}

void Checkpointer::run() {
  std::unique_lock lock(mutex_);
  while (!stops_) {
    changed_.wait(lock, [this] { return stops_ || requested_ || hurried_; });
    changed_.wait_for(lock, pause_, [this] { return stops_ || hurried_; });
    if (stops_) return;
    requested_ = true;
    lock.unlock();
    const bool isDone = work_();
    lock.lock();
    hurried_ = false;
    if (isDone) requested_ = false;
  }
}

}  // namespace fliprugair
