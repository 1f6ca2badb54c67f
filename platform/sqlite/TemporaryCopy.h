#pragma once

#include <filesystem>

namespace fliprugair {

/// A copy of a store and of its log, in a folder that only this user may enter. Gone with the object, which whoever
/// reads the copy owns. Used by one thread at a time.
class TemporaryCopy {
 public:
  /// Throws StoreError::Kind::unavailable when there can be no copy.
  explicit TemporaryCopy(const std::filesystem::path& file);
  ~TemporaryCopy();
  TemporaryCopy(const TemporaryCopy&) = delete;
  TemporaryCopy& operator=(const TemporaryCopy&) = delete;

  std::filesystem::path file() const { return folder_ / "store"; }

 private:
  void remove() const;

  std::filesystem::path folder_;
};

}  // namespace fliprugair
