#pragma once

#include "Fliprugair/platform/Text.h"

namespace fliprugair {

class MarluneHardwareInfo {
 public:
  virtual ~MarluneHardwareInfo() = default;

  /// The model of the device, as "iPhone8,1".
  virtual Text obtainHardwareDescription() = 0;
};

}  // namespace fliprugair
