#pragma once

#include <string>
#include <string_view>

namespace fliprugair::controlhost {

/// A text as it can be shown to a person: what would steer a terminal, look like a line's end, or turn the direction of
/// what stands beside it is escaped as JSON does it ("\u001B"). A text of several lines keeps their ends with `lines`.
std::string visibleText(std::string_view text, bool lines = false);

}  // namespace fliprugair::controlhost
