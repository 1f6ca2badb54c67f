// Whether there is a network path, and of which kind. Each question asks the system anew.

#include "Fliprugair/MarluneTracker.h"

namespace fliprugair {

namespace {

// Well known and not the control host: the question is whether there is any network at all.
constexpr std::string_view probeHost = "www.example.com";

}  // namespace

/// Any flag counts, also without the one for reachable.
bool MarluneTracker::networkConnectedBool() const {
  const Reachability answer = platform().surroundings().reachability(probeHost);
  return answer.referenceCreated && answer.flagsRead && answer.flags != 0;
}

bool MarluneTracker::cellularConnectedBool() const {
  const Reachability answer = platform().surroundings().reachability(probeHost);
  return answer.referenceCreated && (answer.flags & Reachability::wirelessWideArea) != 0;
}

bool MarluneTracker::wiFiConnectedBool() const { return !cellularConnectedBool() && networkConnectedBool(); }

}  // namespace fliprugair
