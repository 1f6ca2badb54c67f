#pragma once

#include "Fliprugair/platform/Value.h"

namespace fliprugair {

/// The text that `value` is, as the object that it is; "" when it is none.
Value textOrEmpty(const Value& value);

}  // namespace fliprugair
