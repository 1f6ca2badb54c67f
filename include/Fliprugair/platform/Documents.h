#pragma once

#include <string>
#include <string_view>

namespace fliprugair {

/// The application's documents directory and the keyed archives in it. Any thread.
class Documents {
 public:
  virtual ~Documents() = default;

  /// The full path of the file `name` in the documents directory, as a path component. Exists or not.
  virtual std::string pathForFile(std::string_view name) const = 0;

  /// Whether the file at `path` is a keyed archive whose root object can be read back. Malformed, hostile or missing
  /// files are answered with false. Takes as long as reading the file does.
  virtual bool unarchivesAsObject(const std::string& path) const = 0;
};

}  // namespace fliprugair
