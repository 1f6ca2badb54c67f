#pragma once

#include <pthread.h>

#include <csignal>

namespace fliprugair {

/// Blocks the signals that end the program, in this thread and all that it starts.
inline sigset_t blockedEndSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

}  // namespace fliprugair
