#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace fliprugair {

/// A folder of the test's own, gone with it.
class TemporaryFolder {
 public:
  explicit TemporaryFolder(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
    std::string name = (parent / "fliprugair-XXXXXX").string();
    if (mkdtemp(name.data()) != nullptr) path_ = name;
    EXPECT_FALSE(path_.empty()) << "no folder can be made in " << parent;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(std::string_view name) const { return path_ / name; }

  /// Makes the folders that the file needs.
  void write(const std::filesystem::path& file, std::string_view content) const {
    std::filesystem::create_directories((path_ / file).parent_path());
    std::ofstream(path_ / file, std::ios::binary) << content;
  }

 private:
  std::filesystem::path path_;
};

}  // namespace fliprugair
