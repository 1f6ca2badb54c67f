#pragma once

#include <memory>

#include "Fliprugair/platform/linux/HostFacts.h"
#include "platform/Locked.h"

namespace fliprugair {

/// The facts in force. Reading takes a reference; a change replaces them as a whole.
using FactsInForce = Locked<std::shared_ptr<const HostFacts>>;

}  // namespace fliprugair
