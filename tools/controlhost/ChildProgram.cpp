#include "tools/controlhost/ChildProgram.h"

#include <pthread.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace fliprugair::controlhost {

namespace {

/// The status with which `process` has ended. Hands on what ends this program meanwhile.
int waitFor(pid_t process, const sigset_t& signals) {
  int status = 0;
  for (;;) {
    siginfo_t signal{};
    if (sigwaitinfo(&signals, &signal) < 0) continue;
    if (signal.si_signo == SIGCHLD) {
      if (waitpid(process, &status, WNOHANG) == process) return status;
    } else if (signal.si_code != SI_KERNEL) {  // that is the terminal's, which tells all of its programs
      kill(process, signal.si_signo);
    }
  }
}

}  // namespace

sigset_t blockedSignalsOfAProgram() {
  std::signal(SIGCHLD, SIG_DFL);  // ignored by who started this one, it would not come
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD}) sigaddset(&signals, signal);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

int runProgram(const std::vector<std::string>& command, const std::string& variable, const std::string& value,
               const sigset_t& signals) {
  std::vector<std::string> words = command;
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  std::string setting = variable + '=' + value;
  std::vector<char*> environment{setting.data()};
  for (char** entry = environ; *entry != nullptr; ++entry) {
    if (std::strncmp(*entry, setting.c_str(), variable.size() + 1) != 0) environment.push_back(*entry);
  }
  environment.push_back(nullptr);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes, &none);  // this program blocks the signals that end it
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
  pid_t process = 0;
  const int error = posix_spawnp(&process, arguments[0], nullptr, &attributes, arguments.data(), environment.data());
  posix_spawnattr_destroy(&attributes);
  if (error != 0)
    throw std::runtime_error(command[0] + " cannot be started: " + std::strerror(error) +
                             ". Give the path of a program that you may run, behind --.");
  const int status = waitFor(process, signals);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace fliprugair::controlhost
