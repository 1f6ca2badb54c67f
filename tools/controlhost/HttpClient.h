#pragma once

#include <optional>
#include <string>

namespace fliprugair::controlhost {

/// The body of GET http://`address``path`, `address` with its port; nothing when no good answer comes within seconds.
std::optional<std::string> httpGet(const std::string& address, const std::string& path);

}  // namespace fliprugair::controlhost
