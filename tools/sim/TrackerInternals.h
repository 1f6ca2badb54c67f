#pragma once

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/core/TrackerImplementation.h"

namespace fliprugair {

/// The way to a tracker's parts, for scripts and tests that call its inner operations. The language lets an explicit
/// instantiation name a private member; so the tracker needs no friend.
template <auto member>
struct OpenedTracker {
  friend TrackerImplementation& internalsOf(const MarluneTracker& tracker) { return *(tracker.*member); }
};
template struct OpenedTracker<&MarluneTracker::implementation_>;

TrackerImplementation& internalsOf(const MarluneTracker& tracker);

}  // namespace fliprugair
