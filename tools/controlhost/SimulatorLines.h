#pragma once

#include <string>

#include "Fliprugair/platform/Value.h"
#include "tools/controlhost/WireCheck.h"

namespace fliprugair::controlhost {

/// How fliprugair-sim is brought to make a record again, but for its times.
struct SimulatorLines {
  /// One command or several, a line each, without an end of the last line; "" when there are none. Lines that hold a
  /// "construct" begin with a new simulator; the others want a tracker there that has reported its installation.
  std::string text;
  /// Why there are none, a sentence; "" when there are some.
  std::string reason;
};

/// For `record`, of which `check` says whether a tracker would send it. Its identifiers are made again, too, where the
/// lines hold a "construct".
SimulatorLines simulatorLines(const Value& record, const WireCheck& check);

}  // namespace fliprugair::controlhost
