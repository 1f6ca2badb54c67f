#include "platform/sqlite/ProcessLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

namespace fliprugair {

namespace {

std::string processNamedIn(int descriptor) {
  std::array<char, 16> digits;
  const ssize_t count = pread(descriptor, digits.data(), digits.size(), 0);
  std::string process = count > 0 ? std::string(digits.data(), static_cast<std::size_t>(count)) : std::string();
  process.erase(std::min(process.find_first_not_of("0123456789"), process.size()));
  return process.empty() ? "another process" : "process " + process;
}

}  // namespace

ProcessLock::~ProcessLock() {
  if (descriptor_ >= 0) close(descriptor_);
}

ProcessLock::Outcome ProcessLock::take(const std::filesystem::path& file) {
  if (descriptor_ >= 0) return Outcome::taken;
  int descriptor = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  const int reason = errno;
  // In a folder that cannot be written, somebody else's lock can still be seen.
  if (descriptor < 0) descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) {
    detail_ = std::system_category().message(reason);
    return Outcome::unavailable;
  }
  if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    const bool isInUse = errno == EWOULDBLOCK;
    detail_ = isInUse ? processNamedIn(descriptor) : std::system_category().message(errno);
    close(descriptor);
    return isInUse ? Outcome::inUse : Outcome::unavailable;
  }
  descriptor_ = descriptor;
  // Only for what the next one is told: it does not matter if this fails.
  const std::string process = std::to_string(getpid()) + "\n";
  [[maybe_unused]] const bool isWritten =
      ftruncate(descriptor, 0) == 0 && pwrite(descriptor, process.data(), process.size(), 0) > 0;
  return Outcome::taken;
}

}  // namespace fliprugair
