#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "platform/posix/FileDescriptor.h"
#include "platform/sqlite/Database.h"

namespace fliprugair {

/// The right to use one store, taken by locking a file beside it. It ends with the object or with the process, however
/// that ends, and no child of the process inherits it. The file stays. Owned and used by one thread at a time.
class ProcessLock {
 public:
  enum class Outcome {
    taken,
    inUse,
    unavailable,  ///< the file can be neither made nor opened
  };

  /// Once taken it stays so.
  Outcome take(const std::filesystem::path& file);

  /// After `inUse`: "process 1234", as far as known; after `unavailable`: the system's reason.
  const std::string& detail() const { return detail_; }

 private:
  std::unique_ptr<Database> withinProcess_;
  FileDescriptor file_;
  std::string detail_;
};

}  // namespace fliprugair
