#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>

#include "platform/linux/UserFolders.h"

namespace fliprugair {

/// Environment variables of these names and values, and no others.
inline Variables variables(std::map<std::string, std::string> values) {
  return [values = std::move(values)](const char* name) -> std::optional<std::string> {
    const auto found = values.find(name);
    return found == values.end() ? std::nullopt : std::optional(found->second);
  };
}

}  // namespace fliprugair
