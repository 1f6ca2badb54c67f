#include "Child.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <thread>

extern char** environ;

namespace fliprugair::sim {

namespace {

constexpr int patienceInMilliseconds = 60000;

std::array<int, 2> makePipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  return ends;
}

void closeOnce(int& descriptor) {
  if (descriptor >= 0) close(descriptor);
  descriptor = -1;
}

}  // namespace

Child::Child(std::vector<std::string> arguments) {
  std::signal(SIGPIPE, SIG_IGN);  // a child that ended early is noticed by its status
  auto in = makePipe();
  auto out = makePipe();
  errorFile_ = memfd_create("errors", MFD_CLOEXEC);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, errorFile_, STDERR_FILENO);
  std::string program = FLIPRUGAIR_SIM;
  std::vector<char*> pointers{program.data()};
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  const int error = posix_spawn(&process_, FLIPRUGAIR_SIM, &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(in[0]);
  close(out[1]);
  input_ = in[1];
  output_ = out[0];
  if (error != 0) throw std::system_error(error, std::generic_category(), FLIPRUGAIR_SIM);
}

Child::~Child() {
  closeOnce(input_);
  closeOnce(output_);
  closeOnce(errorFile_);
  if (process_ > 0) {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
}

void Child::write(const std::string& text) {
  std::size_t written = 0;
  while (written < text.size()) {
    const ssize_t count = ::write(input_, text.data() + written, text.size() - written);
    if (count <= 0) return;
    written += static_cast<std::size_t>(count);
  }
}

void Child::closeInput() { closeOnce(input_); }

bool Child::fill() {
  pollfd waiting{output_, POLLIN, 0};
  if (poll(&waiting, 1, patienceInMilliseconds) != 1) return false;
  std::array<char, 65536> bytes;
  const ssize_t count = read(output_, bytes.data(), bytes.size());
  if (count <= 0) return false;
  buffer_.append(bytes.data(), static_cast<std::size_t>(count));
  return true;
}

std::string Child::readLine() {
  while (true) {
    if (const std::size_t end = buffer_.find('\n'); end != std::string::npos) {
      std::string line = buffer_.substr(0, end);
      buffer_.erase(0, end + 1);
      return line;
    }
    if (!fill()) return "";
  }
}

std::string Child::readAll() {
  while (fill()) {
  }
  return std::move(buffer_);
}

Child::End Child::wait() {
  closeInput();
  do {
    buffer_.clear();
  } while (fill());
  int status = 0;
  rusage usage{};
  wait4(process_, &status, 0, &usage);
  process_ = -1;
  std::array<char, 65536> bytes;
  const ssize_t count = pread(errorFile_, bytes.data(), bytes.size(), 0);
  if (count > 0) errors_.assign(bytes.data(), static_cast<std::size_t>(count));
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, usage.ru_maxrss};
}

Outcome outcomeOf(const std::string& script, std::vector<std::string> arguments) {
  Child child(std::move(arguments));
  std::thread writer([&] {
    child.write(script);
    child.closeInput();
  });
  std::string output = child.readAll();
  writer.join();
  const int status = child.wait().status;
  return {status, std::move(output), child.errors()};
}

}  // namespace fliprugair::sim
