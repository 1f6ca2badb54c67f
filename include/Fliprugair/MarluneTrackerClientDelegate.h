#pragma once

#include "Fliprugair/platform/Value.h"

namespace fliprugair {

/// What a host app implements to receive the attribution result.
class MarluneTrackerClientDelegate {
 public:
  virtual ~MarluneTrackerClientDelegate() = default;

  /// Called with the attribution dictionary when the control host has given its final answer: whatever the host
  /// sent, or {"attribution": "false"} when it knows of none. Implementing it is optional.
  ///
  /// Runs directly on the thread that the network collaborator delivers replies on, with no lock held. It must
  /// not block: other requests wait meanwhile, and so does the end of the platform. A host app that lives on another
  /// thread hands the value over (a Value may be copied to any thread):
  ///
  ///     void Marlune_attributionResult(const Value& attribution) override {
  ///       myLoop.post([this, attribution] { show(attribution); });
  ///     }
  virtual void Marlune_attributionResult(const Value& /*attribution*/) {}
};

}  // namespace fliprugair
