#include "tools/sim/TrackerInternals.h"

namespace fliprugair {

namespace {

struct Implementation {
  using Member = std::shared_ptr<TrackerImplementation> MarluneTracker::*;
  friend Member memberOf(Implementation which);
};

/// The language lets an explicit instantiation name a private member; so the tracker needs no friend.
template <Implementation::Member member>
struct Opened {
  friend Implementation::Member memberOf(Implementation /*which*/) { return member; }
};
template struct Opened<&MarluneTracker::implementation_>;

}  // namespace

TrackerImplementation& internalsOf(const MarluneTracker& tracker) { return *(tracker.*memberOf(Implementation())); }

}  // namespace fliprugair
