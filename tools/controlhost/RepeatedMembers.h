#pragma once

#include <string_view>
#include <vector>

#include "tools/controlhost/Finding.h"

namespace fliprugair::controlhost {

/// Finds the names that stand more than once in one object of a JSON text, up to a hundred: what is parsed shows them
/// no more. `isBatch`: the records of an array are counted, and paths begin in them.
std::vector<Finding> repeatedMembers(std::string_view text, bool isBatch);

}  // namespace fliprugair::controlhost
