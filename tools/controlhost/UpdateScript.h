#pragma once

#include "tools/controlhost/SimulatorLines.h"

namespace fliprugair::controlhost {

/// What makes a tracker send `record`, an update of the device's properties, its position or the services found on it.
SimulatorLines updateScript(const Dictionary& record);

}  // namespace fliprugair::controlhost
