#pragma once

#include <string>
#include <vector>

#include "Fliprugair/controlhost/HostSettings.h"
#include "Fliprugair/platform/Value.h"

namespace fliprugair::controlhost {

/// What is wrong with a settings file, a line for each fault: where, what, and what would be right. Empty: nothing.
std::vector<std::string> settingsProblems(const Value& file);

/// What a file without problems says.
HostSettings settingsOf(const Value& file);

/// The settings as a file would say them, whole.
Value fileOf(const HostSettings& settings);

}  // namespace fliprugair::controlhost
