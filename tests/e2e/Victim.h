#pragma once

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace fliprugair::e2e {

/// A child process whose standard output is read until it is killed.
class Victim {
 public:
  explicit Victim(const std::vector<std::string>& given) {
    std::vector<std::string> arguments;
    arguments.emplace_back(FLIPRUGAIR_VICTIM);
    for (const std::string& argument : given) arguments.push_back(argument);
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    pid_ = ::fork();
    if (pid_ == 0) {
      ::dup2(ends[1], STDOUT_FILENO);
      ::execv(argv[0], argv.data());
      ::_exit(127);
    }
    ::close(ends[1]);
    output_ = ends[0];
  }

  ~Victim() {
    kill();
    ::close(output_);
  }
  Victim(const Victim&) = delete;
  Victim& operator=(const Victim&) = delete;

  /// Reads until the victim has said something and `time` has passed since then.
  void listen(std::chrono::microseconds time) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    bool heard = false;
    while (std::chrono::steady_clock::now() < deadline) {
      pollfd ready{output_, POLLIN, 0};
      if (::poll(&ready, 1, 1) <= 0) continue;
      if (!readSome()) return;
      if (!heard) deadline = std::chrono::steady_clock::now() + time;
      heard = true;
    }
  }

  /// Reads for this time, whatever it says.
  void live(std::chrono::microseconds time) {
    const auto deadline = std::chrono::steady_clock::now() + time;
    while (std::chrono::steady_clock::now() < deadline) {
      pollfd ready{output_, POLLIN, 0};
      if (::poll(&ready, 1, 1) > 0 && !readSome()) return;
    }
  }

  /// Everything that it had said when it died.
  const std::string& kill() {
    if (pid_ > 0) {
      ::kill(pid_, SIGKILL);
      ::waitpid(pid_, nullptr, 0);
      pid_ = -1;
      while (readSome()) continue;
    }
    return said_;
  }

  const std::string& said() const { return said_; }

 private:
  bool readSome() {
    std::array<char, 4096> buffer;
    const ssize_t count = ::read(output_, buffer.data(), buffer.size());
    if (count > 0) said_.append(buffer.data(), static_cast<std::size_t>(count));
    return count > 0;
  }

  pid_t pid_ = -1;
  int output_ = -1;
  std::string said_;
};

/// The bytes of SQLite's log beside a victim's store.
inline std::uintmax_t logSize(const std::filesystem::path& store) {
  std::error_code none;
  const std::uintmax_t size = std::filesystem::file_size(store.string() + "-wal", none);
  return none ? 0 : size;
}
constexpr std::uintmax_t longestLogAllowed = 8'000'000;

/// What a victim has said to the end of a line.
inline std::set<std::string> completeLines(const std::string& said) {
  std::set<std::string> lines;
  std::istringstream stream(said.substr(0, said.rfind('\n') + 1));
  for (std::string line; std::getline(stream, line);) lines.insert(line);
  return lines;
}

}  // namespace fliprugair::e2e
