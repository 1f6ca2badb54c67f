#pragma once

#include <string>

#include "support/TemporaryFolder.h"

namespace fliprugair::test {

/// A file in a folder of its own, gone with this object.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& content) { write(content); }

  std::string path() const { return folder_ / "settings.json"; }
  void write(const std::string& content) { folder_.write("settings.json", content); }
  void remove() { std::filesystem::remove(path()); }

 private:
  const TemporaryFolder folder_;
};

}  // namespace fliprugair::test
