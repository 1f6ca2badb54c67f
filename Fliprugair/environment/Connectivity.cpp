#include "Fliprugair/environment/Connectivity.h"

namespace fliprugair {

namespace {

// Well known and not the control host: the question is whether there is any network at all.
constexpr std::string_view probeHost = "www.example.com";

}  // namespace

bool Connectivity::networkConnectedBool() const {
  const Reachability answer = surroundings_.reachability(probeHost);
  return answer.referenceCreated && answer.flagsRead && answer.flags != 0;
}

bool Connectivity::cellularConnectedBool() const {
  const Reachability answer = surroundings_.reachability(probeHost);
  return answer.referenceCreated && (answer.flags & Reachability::wirelessWideArea) != 0;
}

bool Connectivity::wiFiConnectedBool() const { return !cellularConnectedBool() && networkConnectedBool(); }

}  // namespace fliprugair
