#pragma once

#include "Fliprugair/platform/Value.h"

namespace fliprugair {

/// The properties that are watched, as a virtual device has them unless a test says otherwise.
inline Value watchedProperties() {
  return {{"app_limit_tracking", "0"},    {"app_short_string", "1.0"}, {"app_version", "100"},
          {"device_limit_tracking", "0"}, {"is_genuine", "1"},         {"language", "en"},
          {"os_version", "iOS 9.3"}};
}

}  // namespace fliprugair
