#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace fliprugair::test {

/// A file in a directory of its own, gone with this object.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& content) {
    std::string directory = (std::filesystem::temp_directory_path() / "controlhostXXXXXX").string();
    if (mkdtemp(directory.data()) != nullptr) directory_ = directory;
    write(content);
  }
  ~TemporaryFile() { std::filesystem::remove_all(directory_); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  std::string path() const { return directory_ / "settings.json"; }
  void write(const std::string& content) { std::ofstream(path()) << content; }
  void remove() { std::filesystem::remove(path()); }

 private:
  std::filesystem::path directory_;
};

}  // namespace fliprugair::test
