#pragma once

#include <string>

#include "Fliprugair/platform/Value.h"

namespace fliprugair::controlhost {

// Requests for a terminal, from what GET /api/requests and GET /api/events give. What came cannot steer the terminal.

/// A table: when each came, from which device, its action, its records, and whether it was confirmed.
std::string requestTable(const Array& requests);

/// One line: when it came, what it is, from which device, and what became of it.
std::string requestLine(const Value& request);

/// A line for each finding of a record or a request, as they stand in `findings`.
std::string findingLines(const Array& findings);

}  // namespace fliprugair::controlhost
