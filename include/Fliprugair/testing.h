#pragma once

// For the tests of a host app: a device in memory whose time stands still, and a double of the tracker for those who
// wrap it. Link Fliprugair::Virtual.
#include "Fliprugair/Fliprugair"               // IWYU pragma: export
#include "Fliprugair/testing/Records.h"        // IWYU pragma: export
#include "Fliprugair/testing/TestDevice.h"     // IWYU pragma: export
#include "Fliprugair/testing/TrackerDouble.h"  // IWYU pragma: export
