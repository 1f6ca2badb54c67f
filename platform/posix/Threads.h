#pragma once

#include <pthread.h>
#include <sched.h>
#include <sys/prctl.h>

#include <csignal>
#include <functional>
#include <thread>
#include <utility>

namespace fliprugair {

/// Keeps the calling thread's signals for as long as it lives; a thread that is started meanwhile inherits that.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t blocked;
    sigfillset(&blocked);
    // What a thread does to itself would end the process unseen by the host app's crash handler.
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS}) sigdelset(&blocked, fault);
    pthread_sigmask(SIG_SETMASK, &blocked, &before_);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_;
};

/// The object that the calling thread was started for, which a thread never changes; null on the host app's own.
inline const void*& ownerOfThisThread() {
  thread_local const void* owner = nullptr;
  return owner;
}

/// Whether the calling thread was started for `owner`, so that code of it is running further up.
inline bool isThreadOf(const void* owner) { return ownerOfThisThread() == owner; }

/// Lets the calling thread wait until a processor is free or its turn has come, where it would else displace whoever
/// has just woken it. It gets its share all the same. A priority that the app has chosen stays.
inline void giveWay() {
  const bool isFiltered = prctl(PR_GET_SECCOMP) != 0;  // a filter may end the process for what follows
  int policy = SCHED_OTHER;
  sched_param parameters{};
  if (isFiltered || pthread_getschedparam(pthread_self(), &policy, &parameters) != 0 || policy != SCHED_OTHER) return;
  pthread_setschedparam(pthread_self(), SCHED_BATCH, &parameters);
}

/// A thread of the platform's that takes no signals but its own faults: a host app's handlers run on its own threads.
/// When it wakes it displaces none of the app's threads (see giveWay).
/// `name` is a literal of at most 15 characters; `owner` joins the thread before it is gone. Throws std::system_error
/// when there can be no more threads.
///
/// In the header, since the platform's pieces are libraries that do not link to one another.
inline std::thread startThread(const char* name, const void* owner, std::function<void()> body) {
  const SignalsBlocked blocked;
  return std::thread([name, owner, body = std::move(body)] {
    pthread_setname_np(pthread_self(), name);
    giveWay();
    ownerOfThisThread() = owner;
    body();
  });
}

/// For a thread that nobody asks whose it is.
inline std::thread startThread(const char* name, std::function<void()> body) {
  return startThread(name, nullptr, std::move(body));
}

}  // namespace fliprugair
