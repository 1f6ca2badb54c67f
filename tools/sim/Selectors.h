#pragma once

#include <optional>
#include <string_view>

#include "Fliprugair/platform/Value.h"

namespace fliprugair::sim {

class Simulator;

/// Calls the method with that selector on the tracker that the script holds and answers with its result (nothing for
/// none); without a value when the selector is a constructor, which reports by itself. Throws CommandError for an
/// unknown selector, a wrong number of arguments, and an argument of a kind that the method cannot take.
std::optional<Value> callSelector(Simulator& simulator, std::string_view selector, const Array& arguments);

}  // namespace fliprugair::sim
