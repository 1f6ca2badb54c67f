#pragma once

#include <cstdint>
#include <string>

#include "tools/swarm/Load.h"
#include "tools/swarm/Simulation.h"

namespace fliprugair::swarm {

/// With a comma between thousands.
std::string grouped(std::uint64_t number);

/// One line, without its end: how far a load is.
std::string progressLine(const LoadReport& report);

/// What a load came to, in lines, for the person who started it.
std::string finalReport(const LoadReport& report, const LoadOptions& options);

/// One line, without its end: what happened in one step of a simulation.
std::string progressLine(const SimulationRow& row);

/// What a simulation came to.
std::string finalReport(const SimulationReport& report, const SimulationOptions& options);

/// "Records: ...", one line with its end.
std::string recordsLine(const Records& records);

}  // namespace fliprugair::swarm
