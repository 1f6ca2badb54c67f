#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Fliprugair/platform/Value.h"

namespace fliprugair::controlhost {

/// What waiting for records came to.
struct Waited {
  bool matched = false;             ///< whether there were as many as were waited for
  std::int64_t count = 0;           ///< of the records that match
  std::vector<Value> records;       ///< these, as the host shows records
  Value nearest;                    ///< when there are too few: what is most alike, the newest of those; else null
  std::vector<std::string> missed;  ///< the terms that it does not meet
  std::string text;                 ///< when there are too few: so for a person
};

}  // namespace fliprugair::controlhost
