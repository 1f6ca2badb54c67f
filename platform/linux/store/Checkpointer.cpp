#include "platform/linux/store/Checkpointer.h"

#include <pthread.h>

#include <chrono>
#include <csignal>
#include <utility>

namespace fliprugair {

namespace {

/// Between two attempts: the callers' writes keep the work from being finished, and are likely to pause.
constexpr std::chrono::milliseconds rest{100};

}  // namespace

Checkpointer::Checkpointer(std::function<bool()> work) : work_(std::move(work)) {
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
    if (stops_) return;
    lock.unlock();
    const bool isDone = work_();
    lock.lock();
    if (isDone) {
      requested_ = false;
    } else {
      changed_.wait_for(lock, rest, [this] { return stops_; });
    }
  }
}

}  // namespace fliprugair
