#pragma once

#include "Fliprugair/platform/Device.h"

namespace fliprugair {

/// Whether there is a network path, and of which kind. Each question asks the system anew.
class Connectivity {
 public:
  explicit Connectivity(const Surroundings& surroundings) : surroundings_(surroundings) {}

  /// Any flag counts, also without the one for reachable.
  bool networkConnectedBool() const;
  bool cellularConnectedBool() const;
  bool wiFiConnectedBool() const;

 private:
  const Surroundings& surroundings_;
};

}  // namespace fliprugair
