#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace fliprugair {

/// The whole content of the regular file at `path`; none when it cannot be read.
std::optional<std::string> contentOfFile(const std::filesystem::path& path);

/// `text` without blanks, tabs and line ends on both sides.
std::string_view trimmed(std::string_view text);

/// What the system says about itself in files (/etc, /sys), below a folder that stands for its root. Any thread.
class SystemFiles {
 public:
  explicit SystemFiles(std::filesystem::path root = "/") : root_(std::move(root)) {}

  /// `path` begins at the root, without a slash.
  std::optional<std::string> content(const std::filesystem::path& path) const { return contentOfFile(root_ / path); }

  /// The first line, trimmed; none when it cannot be read.
  std::optional<std::string> firstLine(const std::filesystem::path& path) const;

  /// The names in a folder, in order; none when it cannot be read.
  std::set<std::string, std::less<>> names(const std::filesystem::path& folder) const;

 private:
  std::filesystem::path root_;
};

/// What a file of shell assignments, like os-release, gives to `variable`: the last one counts. None when it is not
/// assigned or is empty.
std::optional<std::string> assignedValue(std::string_view assignments, std::string_view variable);

}  // namespace fliprugair
