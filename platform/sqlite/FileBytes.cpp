#include "platform/sqlite/FileBytes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "platform/sqlite/Database.h"

namespace fliprugair {

namespace {

[[noreturn]] void fail(const std::string& path) {
  throw StoreError(StoreError::Kind::unavailable, path + ": " + std::system_category().message(errno));
}

}  // namespace

void refuseWhatIsNoFile(const std::string& path) {
  struct stat state {};
  if (::stat(path.c_str(), &state) != 0) {
    if (errno == ENOENT) return;
    fail(path);
  }
  if (!S_ISREG(state.st_mode)) throw StoreError(StoreError::Kind::noFile, path + " is no regular file");
}

FileBytes::FileBytes(const std::string& path) : path_(path) {
  refuseWhatIsNoFile(path);
  file_ = FileDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file_ && errno == ENOENT) return;
  struct stat state {};
  if (!file_ || ::fstat(file_.get(), &state) != 0) fail(path);
  size_ = static_cast<std::uintmax_t>(state.st_size);
}

std::size_t FileBytes::read(std::uintmax_t place, char* to, std::size_t size) const {
  std::size_t read = 0;
  while (file_ && read < size) {
    const ssize_t count = ::pread(file_.get(), to + read, size - read, static_cast<off_t>(place + read));
    if (count < 0) fail(path_);
    if (count == 0) break;
    read += static_cast<std::size_t>(count);
  }
  return read;
}

std::string bytesOfFile(const std::string& path) {
  const FileBytes file(path);
  std::string bytes(file.size(), '\0');
  bytes.resize(file.read(0, bytes.data(), bytes.size()));
  return bytes;
}

}  // namespace fliprugair
