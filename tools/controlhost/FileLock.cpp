#include "tools/controlhost/FileLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace fliprugair::controlhost {

FileLock::FileLock(const std::string& path) : file_(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
  if (!file_) throw std::system_error(errno, std::system_category());
  isHeld_ = ::flock(file_.get(), LOCK_EX | LOCK_NB) == 0;
  if (!isHeld_) return;
  // For whoever comes and is refused; a file that does not take it locks as well.
  const std::string process = std::to_string(::getpid());
  if (::ftruncate(file_.get(), 0) == 0 && ::pwrite(file_.get(), process.data(), process.size(), 0) < 0) errno = 0;
}

std::string FileLock::owner() const {
  std::array<char, 20> process{};
  const ssize_t size = ::pread(file_.get(), process.data(), process.size(), 0);
  return size <= 0 ? "another process" : "process " + std::string(process.data(), static_cast<std::size_t>(size));
}

}  // namespace fliprugair::controlhost
