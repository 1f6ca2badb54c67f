#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tools/swarm/Account.h"
#include "tools/swarm/Habits.h"
#include "tools/swarm/HostModel.h"
#include "tools/swarm/Traffic.h"

namespace fliprugair::swarm {

struct SimulationOptions {
  std::uint32_t devices = 100;
  Time length = day;
  Time step = hour;  ///< a row for each
  std::size_t threads = 1;
  HostOptions host;
};

/// What happened in one step.
struct SimulationRow {
  Time begin = 0;
  Traffic traffic;                    ///< of the requests that left in it
  std::uint64_t busiestSecond = 0;    ///< requests that left in the one second in which most did
  std::uint64_t waitingRequests = 0;  ///< in the stores of all devices, at its end
};

struct SimulationReport {
  std::vector<SimulationRow> rows;
  Records records;
};

/// Lets a fleet live for a while in virtual time, with a control host that is a model, and returns what happened: the
/// same for the same arguments, on any number of threads. `tick` is told of each step that is over, and ends it early
/// by answering false.
SimulationReport runSimulation(const Fleet& fleet, const SimulationOptions& options,
                               const std::function<bool(const SimulationRow&)>& tick);

/// A line for the names of the columns, and a line for each row.
std::string csv(const SimulationReport& report);

}  // namespace fliprugair::swarm
