#include "platform/sqlite/FileBytes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "platform/posix/FileDescriptor.h"
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

std::string bytesOfFile(const std::string& path) {
  refuseWhatIsNoFile(path);
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file && errno == ENOENT) return {};
  struct stat state {};
  if (!file || ::fstat(file.get(), &state) != 0) fail(path);
  std::string bytes(static_cast<std::size_t>(state.st_size), '\0');
  std::size_t read = 0;
  while (read < bytes.size()) {
    const ssize_t count = ::pread(file.get(), bytes.data() + read, bytes.size() - read, static_cast<off_t>(read));
    if (count < 0) fail(path);
    if (count == 0) break;
    read += static_cast<std::size_t>(count);
  }
  bytes.resize(read);
  return bytes;
}

}  // namespace fliprugair
