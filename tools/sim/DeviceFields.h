#pragma once

#include "platform/virtual/VirtualDevice.h"
#include "tools/sim/Command.h"

namespace fliprugair::sim {

/// Sets the facts that the members of a "device" command name and leaves the others. Throws CommandError, and changes
/// nothing, when one of them cannot be understood.
void setDeviceFields(VirtualFacts& facts, const Members& members);

}  // namespace fliprugair::sim
