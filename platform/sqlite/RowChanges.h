#pragma once

#include <vector>

#include "platform/sqlite/Row.h"

namespace fliprugair {

/// Leaves out what later changes undo: rows that are written again or removed, removals of what is removed again.
void leaveOutUndone(std::vector<RowChange>& changes);

}  // namespace fliprugair
