#pragma once

#include <string>

#include "Fliprugair/platform/Value.h"

namespace fliprugair::test {

/// What is wrong, by the schemas of the wire protocol, with a payload that a tracker sends: a request or a batch. A
/// line for each fault; "" when there is none. Any thread.
std::string wireFaults(const Value& payload);

}  // namespace fliprugair::test
