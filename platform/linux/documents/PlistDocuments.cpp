#include "platform/linux/documents/PlistDocuments.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <exception>
#include <optional>

#include "platform/linux/FileDescriptor.h"
#include "platform/linux/documents/KeyedArchive.h"
#include "platform/linux/documents/PlistShape.h"

namespace fliprugair {

namespace {

bool isNameInFolder(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == name.npos && name.find('\0') == name.npos;
}

/// All of the regular file at `path`, unless it is too large.
std::optional<std::string> contentOf(const std::string& path) {
  // Not to follow a link, not to wait for a pipe's writer, not to be given a terminal.
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
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
  folder_ = std::filesystem::absolute(folder, failed).string();
  if (!folder_.ends_with('/')) folder_ += '/';
}

std::string PlistDocuments::pathForFile(std::string_view name) const { return folder_ + std::string(name); }

bool PlistDocuments::unarchivesAsObject(const std::string& path) const {
  if (!path.starts_with(folder_) || !isNameInFolder(std::string_view(path).substr(folder_.size()))) return false;
  try {
    const auto content = contentOf(path);
    return content && isReadableKeyedArchive(*content);
  } catch (const std::exception&) {
    return false;  // No memory to read it.
  }
}

}  // namespace fliprugair
