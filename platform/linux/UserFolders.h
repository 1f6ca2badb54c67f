#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace fliprugair {

/// Looks up one variable of the process environment; an empty one counts as not set.
using Variables = std::function<std::optional<std::string>(const char* name)>;

/// The variables of this process. Any thread, as long as nobody changes them meanwhile.
std::optional<std::string> processVariable(const char* name);

/// Where the desktop's base-directory rules put an application's data. None when the user has no home.
std::optional<std::filesystem::path> dataFolder(const Variables& variables);

}  // namespace fliprugair
