#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace fliprugair {

/// One text of several. A chain of `+` takes the compiler several times the code.
std::string joined(std::initializer_list<std::string_view> parts);

}  // namespace fliprugair
