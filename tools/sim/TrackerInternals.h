#pragma once

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/core/TrackerImplementation.h"

namespace fliprugair {

/// The way to a tracker's parts, for scripts and tests that call its inner operations.
TrackerImplementation& internalsOf(const MarluneTracker& tracker);

}  // namespace fliprugair
