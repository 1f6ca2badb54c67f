#pragma once

#include <string>

#include "Fliprugair/platform/Value.h"

namespace fliprugair::controlhost {

/// The requests of GET /api/requests as a table for a terminal: when each came, its action, its records, and whether it
/// was confirmed.
std::string requestTable(const Array& requests);

}  // namespace fliprugair::controlhost
