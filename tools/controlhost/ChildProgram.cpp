#include "tools/controlhost/ChildProgram.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>

namespace fliprugair::controlhost {

int runProgram(const std::vector<std::string>& command, const std::string& variable, const std::string& value) {
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
  int status = 0;
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace fliprugair::controlhost
