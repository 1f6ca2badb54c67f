#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/posix/FileDescriptor.h"

namespace fliprugair {

/// A file that is read without SQLite. Failures are StoreErrors: Kind::unavailable when it cannot be read, Kind::noFile
/// when something else has its name. Nothing may have the file open for SQLite: closing it would let go of SQLite's
/// locks. Used by one thread at a time.
class FileBytes {
 public:
  /// Of no bytes when there is no such file.
  explicit FileBytes(const std::string& path);

  std::uintmax_t size() const { return size_; }

  /// Copies `size` bytes from `place` on, or as many as there are; answers with their number.
  std::size_t read(std::uintmax_t place, char* to, std::size_t size) const;

 private:
  std::string path_;
  FileDescriptor file_;
  std::uintmax_t size_ = 0;
};

/// All that stands in a file; "" when there is none. Failures as above.
std::string bytesOfFile(const std::string& path);

/// Throws as above when `path` names something other than a regular file.
void refuseWhatIsNoFile(const std::string& path);

}  // namespace fliprugair
