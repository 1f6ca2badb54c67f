#pragma once

#include <filesystem>
#include <string>

namespace fliprugair {

/// The right to use one store, taken by locking a file beside it. It ends with the object or with the process, however
/// that ends. The file stays, and tells whose it was. Owned and used by one thread at a time.
class ProcessLock {
 public:
  enum class Outcome {
    taken,
    inUse,
    unavailable,  ///< the file can be neither made nor opened
  };

  ProcessLock() = default;
  ~ProcessLock();
  ProcessLock(const ProcessLock&) = delete;
  ProcessLock& operator=(const ProcessLock&) = delete;

  /// Once taken it stays so.
  Outcome take(const std::filesystem::path& file);

  /// After `inUse`: "process 1234", as far as known; after `unavailable`: the system's reason.
  const std::string& detail() const { return detail_; }

 private:
  int descriptor_ = -1;
  std::string detail_;
};

}  // namespace fliprugair
