#pragma once

#include <string>

#include "tools/controlhost/SimulatorLines.h"

namespace fliprugair::controlhost {

/// What makes a tracker send `record`, the question for settings.
SimulatorLines initScript(const Dictionary& record);

/// What makes a tracker send `record`, the report of its installation.
SimulatorLines installScript(const Dictionary& record);

/// What makes a tracker send `record`, the question where the installation came from.
std::string attributionScript(const Dictionary& record);

}  // namespace fliprugair::controlhost
