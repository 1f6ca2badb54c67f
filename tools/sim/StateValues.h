#pragma once

#include "Fliprugair/core/ProcessState.h"
#include "platform/virtual/VirtualQueues.h"

namespace fliprugair::sim {

/// The process-wide values and the armed timers, as the "state" event shows them.
Value stateValues(const ProcessState& state, const VirtualMainQueue& mainQueue);

}  // namespace fliprugair::sim
