#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "tools/swarm/Account.h"
#include "tools/swarm/Habits.h"
#include "tools/swarm/Latencies.h"
#include "tools/swarm/Traffic.h"

namespace fliprugair::swarm {

struct LoadOptions {
  std::uint32_t devices = 100;
  std::string hostname;
  double rate = 0;  ///< requests a second; 0: as fast as the host answers
  std::chrono::duration<double> duration{10};
  std::size_t connections = 64;  ///< at most, and so many requests at a time
  std::size_t threads = 1;
  std::string caFile = {};  ///< certificates to trust instead of the system's
};

/// How far a load is, or what it came to.
struct LoadReport {
  double seconds = 0;                             ///< since the beginning
  std::uint64_t inFlight = 0;                     ///< requests
  Traffic traffic;                                ///< of the requests that have ended
  std::map<std::string, std::uint64_t> failures;  ///< by their reason
  Latencies latencies;   ///< of the requests that were accepted, from the moment when each was due
  Time deviceTime = 0;   ///< how far the slowest thread's devices have come in their lives
  Records records = {};  ///< once it has ended
};

/// Lets a fleet live as fast as its requests can be posted to a control host, on threads of its own, and returns what
/// it came to. Meanwhile `tick` is called again and again and told how far it is; it waits a while each time, and ends
/// the load early by answering false. Requests that are under way at the end are waited for. Throws std::runtime_error
/// when it cannot begin.
LoadReport runLoad(Fleet fleet, const LoadOptions& options, const std::function<bool(const LoadReport&)>& tick);

}  // namespace fliprugair::swarm
