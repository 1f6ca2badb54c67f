#pragma once

#include <functional>
#include <optional>
#include <string>

namespace fliprugair::controlhost {

/// The body of GET http://`address``path`, `address` with its port; nothing when no good answer comes within seconds.
std::optional<std::string> httpGet(const std::string& address, const std::string& path);

/// Hands on an endless reply line by line, until it ends. False when there is no good answer.
bool httpFollow(const std::string& address, const std::string& path,
                const std::function<void(const std::string&)>& line);

/// A text as it stands in the query of a path.
std::string inQuery(const std::string& text);

}  // namespace fliprugair::controlhost
