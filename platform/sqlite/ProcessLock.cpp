#include "platform/sqlite/ProcessLock.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <system_error>
#include <utility>

#include "platform/sqlite/FileBytes.h"

namespace fliprugair {

namespace {

/// A lock on a file does not keep out the process that has it. A database in memory that is shared by name does, and
/// nobody but SQLite needs to remember the name. A child of this process has other names.
std::unique_ptr<Database> lockWithinProcess(const std::string& file) {
  auto database = std::make_unique<Database>(std::string("/").append(std::to_string(::getpid())).append(file),
                                             Database::Mode::inMemory);
  database->execute("BEGIN EXCLUSIVE");
  return database;
}

struct flock wholeFile() {
  struct flock whole {};
  whole.l_type = F_WRLCK;
  whole.l_whence = SEEK_SET;
  return whole;
}

/// None when nobody else has the lock.
std::optional<std::string> ownerOf(int file) {
  struct flock lock = wholeFile();
  if (::fcntl(file, F_GETLK, &lock) != 0 || lock.l_type == F_UNLCK) return std::nullopt;
  return lock.l_pid > 0 ? std::string("process ").append(std::to_string(lock.l_pid)) : "another process";
}

}  // namespace

ProcessLock::Outcome ProcessLock::take(const std::filesystem::path& file) {
  if (file_) return Outcome::taken;
  refuseWhatIsNoFile(file.string());
  std::unique_ptr<Database> withinProcess;
  try {
    withinProcess = lockWithinProcess(file.string());
  } catch (const StoreError& error) {
    const bool isInUse = error.kind() == StoreError::Kind::inUse;
    detail_ = isInUse ? std::string("process ").append(std::to_string(::getpid())) : error.what();
    return isInUse ? Outcome::inUse : Outcome::unavailable;
  }
  FileDescriptor opened(::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0600));
  const int reason = errno;
  // In a folder that cannot be written, somebody else's lock can still be seen.
  if (!opened) opened = FileDescriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!opened) {
    detail_ = std::system_category().message(reason);
    return Outcome::unavailable;
  }
  struct flock lock = wholeFile();
  if (::fcntl(opened.get(), F_SETLK, &lock) != 0) {
    const int refused = errno;
    const std::optional<std::string> owner = ownerOf(opened.get());
    detail_ = owner.value_or(std::system_category().message(refused));
    return owner ? Outcome::inUse : Outcome::unavailable;
  }
  file_ = std::move(opened);
  withinProcess_ = std::move(withinProcess);
  return Outcome::taken;
}

}  // namespace fliprugair
