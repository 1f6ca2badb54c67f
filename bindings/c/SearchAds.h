#pragma once

#include "Fliprugair/fliprugair.h"
#include "Fliprugair/platform/linux/SearchAdSource.h"

namespace fliprugair {

/// A source that asks the callback; none when there is no callback.
SearchAdSource searchAdSourceOf(const fliprugair_callbacks& callbacks);

}  // namespace fliprugair
