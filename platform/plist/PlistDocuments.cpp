#include "platform/plist/PlistDocuments.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <optional>

#include "platform/plist/KeyedArchive.h"
#include "platform/plist/PlistShape.h"
#include "platform/posix/FileDescriptor.h"

namespace fliprugair {

namespace {

bool isNameInFolder(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == name.npos && name.find('\0') == name.npos;
}

/// The file `name` in `folder`, which may be a link to another one there, but not one that leads out.
FileDescriptor openWithin(const std::string& folder, const std::string& name) {
  const FileDescriptor directory(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!directory) return {};
  open_how how{};
  // Not to wait for a pipe's writer, not to be given a terminal.
  how.flags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
  const long opened = syscall(SYS_openat2, directory.get(), name.c_str(), &how, sizeof how);
  if (opened >= 0 || (errno != ENOSYS && errno != EPERM)) return FileDescriptor(static_cast<int>(opened));
  // A kernel or a sandbox that does not know the call cannot tell where a link leads.
  return FileDescriptor(openat(directory.get(), name.c_str(), static_cast<int>(how.flags) | O_NOFOLLOW));
}

/// All of the regular file `name`, unless it is too large.
std::optional<std::string> contentOf(const std::string& folder, const std::string& name) {
  const FileDescriptor file = openWithin(folder, name);
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  if (status.st_size > static_cast<off_t>(PlistBounds::bytes)) return std::nullopt;
  std::string content(static_cast<std::size_t>(status.st_size), '\0');
  std::size_t filled = 0;
  while (filled < content.size()) {
    const auto count = read(file.get(), content.data() + filled, content.size() - filled);
    if (count == 0) break;
    if (count > 0) {
      filled += static_cast<std::size_t>(count);
    } else if (errno != EINTR) {
      return std::nullopt;
    }
  }
  content.resize(filled);
  return content;
}

}  // namespace

PlistDocuments::PlistDocuments(const std::filesystem::path& folder) {
  std::error_code failed;
  if (folder.empty()) return;
  folder_ = std::filesystem::absolute(folder, failed).string();
  if (!folder_.ends_with('/')) folder_ += '/';
}

std::string PlistDocuments::pathForFile(std::string_view name) const { return folder_ + std::string(name); }

bool PlistDocuments::unarchivesAsObject(const std::string& path) const {
  if (folder_.empty() || !path.starts_with(folder_)) return false;
  const std::string name = path.substr(folder_.size());
  if (!isNameInFolder(name)) return false;
  try {
    const auto content = contentOf(folder_, name);
    return content && isReadableKeyedArchive(*content);
  } catch (const std::exception&) {
    return false;  // No memory to read it.
  }
}

}  // namespace fliprugair
