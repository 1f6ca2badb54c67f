#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sqlite/FileBytes.h"
#include "platform/sqlite/LogImage.h"
#include "platform/sqlite/RowFile.h"

namespace fliprugair {

/// The pages of a store's file as they are with what stands in SQLite's log, read without SQLite. Only a small part of
/// the file is in memory at a time. Failures as FileBytes. Used by one thread at a time.
class StorePages {
 public:
  static constexpr std::size_t pageSize = RowFile::pageSize;  ///< bytes

  explicit StorePages(const std::string& path);
  StorePages(const StorePages&) = delete;
  StorePages& operator=(const StorePages&) = delete;

  std::size_t count() const { return ofFile_ + beyondFile_.size(); }

  /// Those that there are, in ascending order, with `visit(number)`.
  template <class Visit>
  void forEach(const Visit& visit) const {
    for (std::uint32_t number = 1; number <= ofFile_; ++number) visit(number);
    for (const std::uint32_t number : beyondFile_) visit(number);
  }

  /// "" for one that is missing; they count from 1. Valid until another one is asked for.
  std::string_view page(std::uint32_t number);

  /// The first one, or what there is of it.
  std::string_view beginning();

 private:
  std::string_view pageOfFile(std::uint32_t number);
  void fillWindow(std::uint32_t number, std::size_t size);

  const FileBytes file_;
  const std::string logBytes_;
  const LogImage log_;
  std::uint32_t ofFile_ = 0;
  std::vector<std::uint32_t> beyondFile_;  ///< pages that only the log has
  std::string window_;                     ///< has room for pages of the file
  std::string_view inWindow_;              ///< from this one on
  std::uint32_t firstInWindow_ = 1;
  std::uint32_t readAhead_ = 1;  ///< pages
};

}  // namespace fliprugair
