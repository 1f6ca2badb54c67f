#pragma once

#include <sys/types.h>
#include <time.h>

#include <array>
#include <string>

#include "platform/posix/FileDescriptor.h"

namespace fliprugair {

/// Tells whether the store's file, SQLite's log and the journal still stand under their names. Used by one thread at a
/// time.
class StorePlace {
 public:
  /// Remembers what has the name `path` now.
  explicit StorePlace(std::string path);

  /// Remembers what has the other names now, unless something had before.
  void noteOthers();

  bool fileIsInPlace() const { return identityOf(path_) == fileIdentity_; }

  /// Asked before each write, so that most answers rest on the folder alone: nothing was renamed, removed or made in it
  /// since the names were looked up. That a folder was moved is noticed a few milliseconds later.
  bool isInPlace();

 private:
  /// Which file a name names.
  struct Identity {
    dev_t device = 0;
    ino_t number = 0;
    friend bool operator==(const Identity&, const Identity&) = default;
  };
  static Identity identityOf(const std::string& path);

  const std::string path_;
  const std::array<std::string, 3> others_;
  const FileDescriptor folder_;
  Identity fileIdentity_;
  std::array<Identity, 3> otherIdentities_;
  timespec folderChanged_{};  ///< the last time before the names were looked up
  timespec lookedUp_{};
};

}  // namespace fliprugair
