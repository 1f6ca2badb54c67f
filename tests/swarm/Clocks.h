#pragma once

#include <set>
#include <string>

namespace fliprugair::swarm {

/// What a host may find in the requests of a swarm: its devices live faster than the host that they report to.
inline const std::set<std::string> clocksOfTheirOwn{"clock"};

}  // namespace fliprugair::swarm
