#include "platform/sqlite/StorePlace.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <utility>

#include "platform/sqlite/Journal.h"

namespace fliprugair {

namespace {

constexpr std::int64_t nanosecondsOfASecond = 1'000'000'000;
constexpr std::int64_t longestTrust = 5'000'000;  // nanoseconds

/// The clock that gives files their times.
timespec fileTime() {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME_COARSE, &now);
  return now;
}

std::int64_t nanosecondsBetween(const timespec& earlier, const timespec& later) {
  return (later.tv_sec - earlier.tv_sec) * nanosecondsOfASecond + (later.tv_nsec - earlier.tv_nsec);
}

}  // namespace

StorePlace::StorePlace(std::string path)
    : path_(std::move(path)),
      others_{path_ + "-wal", path_ + Journal::suffixes[0], path_ + Journal::suffixes[1]},
      folder_(::open(std::filesystem::path(path_).parent_path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)),
      fileIdentity_(identityOf(path_)) {}

void StorePlace::noteOthers() {
  for (std::size_t index = 0; index < others_.size(); ++index) {
    Identity& identity = otherIdentities_[index];
    if (identity == Identity{}) identity = identityOf(others_[index]);
  }
}

StorePlace::Identity StorePlace::identityOf(const std::string& path) {
  struct stat state {};
  if (::stat(path.c_str(), &state) != 0) return {};
  return {state.st_dev, state.st_ino};
}

bool StorePlace::isInPlace() {
  struct stat folder {};
  const bool hasFolder = folder_ && ::fstat(folder_.get(), &folder) == 0;
  const timespec now = fileTime();
  // A change in the very tick of the lookup could have been made behind it.
  const bool isUnchanged = hasFolder && nanosecondsBetween(folderChanged_, folder.st_ctim) == 0 &&
                           nanosecondsBetween(folderChanged_, lookedUp_) > 0;
  const std::int64_t age = nanosecondsBetween(lookedUp_, now);
  if (isUnchanged && age >= 0 && age < longestTrust) return true;
  folderChanged_ = folder.st_ctim;
  lookedUp_ = now;
  const auto isIt = [](const std::string& name, const Identity& identity) { return identityOf(name) == identity; };
  return fileIsInPlace() && std::equal(others_.begin(), others_.end(), otherIdentities_.begin(), isIt);
}

}  // namespace fliprugair
