#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace fliprugair::test {

/// A directory of its own, gone with this object.
class TemporaryDirectory {
 public:
  TemporaryDirectory() { EXPECT_NE(mkdtemp(path_.data()), nullptr); }
  ~TemporaryDirectory() { std::filesystem::remove_all(path_); }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  std::string path(const std::string& name) const { return path_ + '/' + name; }

 private:
  std::string path_ = testing::TempDir() + "networkXXXXXX";
};

}  // namespace fliprugair::test
