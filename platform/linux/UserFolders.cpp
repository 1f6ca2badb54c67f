#include "platform/linux/UserFolders.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace fliprugair {

namespace {

namespace fs = std::filesystem;

std::optional<fs::path> homeFolder(const Variables& variables) {
  if (const std::optional<std::string> home = variables("HOME")) return *home;
  std::array<char, 4096> text{};
  passwd user{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &user, text.data(), text.size(), &found) != 0 || found == nullptr) return std::nullopt;
  return fs::path(found->pw_dir);
}

/// What `variable` names, when it is absolute as the rules want it; else `standard` below the user's home.
std::optional<fs::path> baseFolder(const Variables& variables, const char* variable, const char* standard) {
  const std::optional<std::string> named = variables(variable);
  if (named && fs::path(*named).is_absolute()) return *named;
  const std::optional<fs::path> home = homeFolder(variables);
  return home ? std::optional(*home / standard) : std::nullopt;
}

}  // namespace

std::optional<std::string> processVariable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr || *value == 0 ? std::nullopt : std::optional<std::string>(value);
}

std::optional<fs::path> dataFolder(const Variables& variables) {
  return baseFolder(variables, "XDG_DATA_HOME", ".local/share");
}

}  // namespace fliprugair
