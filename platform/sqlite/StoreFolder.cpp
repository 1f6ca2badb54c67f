#include "platform/sqlite/StoreFolder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>
#include <system_error>

#include "platform/posix/FileDescriptor.h"
#include "platform/sqlite/Database.h"
#include "platform/sqlite/FileBytes.h"
#include "platform/sqlite/Journal.h"
#include "platform/sqlite/RowFile.h"

namespace fliprugair {

namespace {

[[noreturn]] void fail(const std::filesystem::path& path) {
  throw StoreError(StoreError::Kind::unavailable, path.string() + ": " + std::system_category().message(errno));
}

}  // namespace

void prepareFolder(const std::filesystem::path& file) {
  for (const char* suffix : {"", "-wal", Journal::suffixes[0], Journal::suffixes[1]})
    refuseWhatIsNoFile(file.string() + suffix);
  std::filesystem::path folder;
  for (const auto& part : file.parent_path()) {
    folder /= part;
    struct stat state {};
    if (::stat(folder.c_str(), &state) == 0) continue;
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) fail(folder);
  }
}

void prepareFile(const std::filesystem::path& file) {
  const FileDescriptor opened(::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0600));
  struct stat state {};
  if (!opened || ::fstat(opened.get(), &state) != 0) fail(file);
  // One of an earlier version of this library, or copied from elsewhere. It does no harm if this is not allowed.
  if ((state.st_mode & 077) != 0) [[maybe_unused]]
    const int ignored = ::fchmod(opened.get(), 0600);
}

bool isAbsent(const std::filesystem::path& file) {
  struct stat state {};
  return ::stat(file.c_str(), &state) != 0 ? errno == ENOENT : state.st_size == 0;
}

bool isCertainlyNew(const std::filesystem::path& file) {
  struct stat folder {};
  if (::stat(file.parent_path().c_str(), &folder) != 0) return false;
  struct stat state {};
  if (::stat(file.c_str(), &state) != 0) return errno == ENOENT;
  return state.st_size <= RowFile::pageSize;
}

}  // namespace fliprugair
