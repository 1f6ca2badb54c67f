#pragma once

#include <functional>
#include <string_view>

namespace fliprugair {

/// Takes one diagnostic line. Any thread.
using Log = std::function<void(std::string_view line)>;

}  // namespace fliprugair
