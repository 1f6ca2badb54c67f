#include "platform/sqlite/TemporaryCopy.h"

#include <stdlib.h>

#include <cerrno>
#include <string>
#include <system_error>

#include "platform/sqlite/Database.h"

namespace fliprugair {

namespace {

void copyPart(const std::filesystem::path& from, const std::filesystem::path& to) {
  std::filesystem::copy_file(from, to);
  // The rights are copied along.
  std::filesystem::permissions(to, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

}  // namespace

TemporaryCopy::TemporaryCopy(const std::filesystem::path& file) {
  try {
    std::string name = (std::filesystem::temp_directory_path() / "fliprugair-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      throw std::filesystem::filesystem_error("mkdtemp", std::error_code(errno, std::system_category()));
    }
    folder_ = name;
    copyPart(file, this->file());
    copyPart(file.string() + "-wal", this->file().string() + "-wal");
  } catch (const std::filesystem::filesystem_error& error) {
    remove();
    throw StoreError(StoreError::Kind::unavailable, "no copy can be made: " + error.code().message());
  }
}

TemporaryCopy::~TemporaryCopy() { remove(); }

void TemporaryCopy::remove() const {
  if (folder_.empty()) return;
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

}  // namespace fliprugair
