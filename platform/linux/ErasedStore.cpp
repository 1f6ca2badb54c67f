#if FLIPRUGAIR_SQLITE

#include "platform/linux/ErasedStore.h"

#include <algorithm>
#include <functional>
#include <system_error>
#include <vector>

#include "platform/Joined.h"
#include "platform/sqlite/ProcessLock.h"

namespace fliprugair {

namespace {

namespace fs = std::filesystem;

fs::path lockOf(const fs::path& file) { return file.string() + ".lock"; }

/// The store's own file behind what stands beside it, which would be taken for the rest of a lost store; and the lock
/// at the end: who removes it earlier lets others in.
std::vector<fs::path> filesOf(const fs::path& file, std::error_code& error) {
  std::vector<fs::path> files;
  const std::string name = file.filename().string();
  for (fs::directory_iterator entry(fs::absolute(file).parent_path(), error), end; !error && entry != end;
       entry.increment(error)) {
    const fs::path& found = entry->path();
    if (found.filename().string().starts_with(name) && found.filename() != lockOf(file).filename()) {
      files.push_back(found);
    }
  }
  std::sort(files.begin(), files.end(), std::greater());
  files.push_back(lockOf(file));
  return files;
}

}  // namespace

std::string eraseStore(const fs::path& file) {
  std::error_code error;
  if (!fs::exists(fs::absolute(file).parent_path(), error)) return "";
  ProcessLock lock;
  if (lock.take(lockOf(file)) == ProcessLock::Outcome::inUse) {
    return joined({file.native(), " is in use by ", lock.detail()});
  }
  std::string left;
  for (const fs::path& each : filesOf(file, error)) {
    std::error_code reason;
    fs::remove(each, reason);
    if (reason) left += joined({left.empty() ? "" : "; ", each.native(), ": ", reason.message()});
  }
  if (error) left += joined({left.empty() ? "" : "; ", file.parent_path().native(), ": ", error.message()});
  return left;
}

}  // namespace fliprugair

#endif
