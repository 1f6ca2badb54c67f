#pragma once

#include <filesystem>
#include <string>

#include "Fliprugair/platform/Documents.h"

namespace fliprugair {

/// The documents in one folder, with keyed archives read by libplist (KeyedArchive.h).
///
/// Nothing but regular files of the folder is read: a path that pathForFile has not made, a name with a slash in it
/// or "..", a link that leads out of the folder, a pipe or a device counts as an absent file, and is neither followed
/// nor waited for. So does a file of more than 16 MiB.
class PlistDocuments final : public Documents {
 public:
  /// `folder` need not exist. An empty path is no folder, and everything is absent.
  explicit PlistDocuments(const std::filesystem::path& folder);

  std::string pathForFile(std::string_view name) const override;
  bool unarchivesAsObject(const std::string& path) const override;

 private:
  std::string folder_;  ///< with a slash at its end, or empty
};

}  // namespace fliprugair
