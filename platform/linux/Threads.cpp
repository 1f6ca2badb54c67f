#include "platform/linux/Threads.h"

#include <pthread.h>

#include <csignal>
#include <utility>

namespace fliprugair {

namespace {

/// A new thread inherits the mask of the one that starts it.
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

}  // namespace

std::thread startThread(const char* name, std::function<void()> body) {
  const SignalsBlocked blocked;
  return std::thread([name, body = std::move(body)] {
    pthread_setname_np(pthread_self(), name);
    body();
  });
}

}  // namespace fliprugair
