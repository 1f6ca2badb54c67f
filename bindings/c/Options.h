#pragma once

#include "Fliprugair/platform/Value.h"
#include "Fliprugair/platform/linux/LinuxOptions.h"

namespace fliprugair {

/// The options that a JSON object names. Throws std::invalid_argument for a key that is not known or holds another
/// type, with a text that names it.
LinuxOptions optionsOf(const Dictionary& dictionary);

/// The same for what the host app states about the device.
HostFacts factsOf(const Dictionary& dictionary);

}  // namespace fliprugair
