#pragma once

#include <string>

#include "platform/posix/FileDescriptor.h"

namespace fliprugair::controlhost {

/// The right to use something that others would use, too, taken by locking a file beside it. It ends with the object or
/// with the process, however that ends; the file stays.
class FileLock {
 public:
  /// Throws std::system_error when the file can be neither made nor opened.
  explicit FileLock(const std::string& path);

  /// False when another has it.
  bool isHeld() const { return isHeld_; }
  /// Whoever has it: "process 1234".
  std::string owner() const;

 private:
  FileDescriptor file_;
  bool isHeld_ = false;
};

}  // namespace fliprugair::controlhost
