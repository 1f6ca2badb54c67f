#pragma once

#include <memory>

#include "Fliprugair/platform/Value.h"

namespace fliprugair {

class MarluneiAdAttributionDelegate {
 public:
  virtual ~MarluneiAdAttributionDelegate() = default;

  /// The search-ad attribution details (a dictionary, or null when there are none); `unknown` when the platform does
  /// not know them yet. Any thread.
  virtual void iAdAttributionData(const Value& details, bool unknown) = 0;
};

/// Asks the platform whether a search ad led to this installation.
class MarluneRetrieveiAdAttribution {
 public:
  virtual ~MarluneRetrieveiAdAttribution() = default;

  /// Does not keep the delegate alive.
  virtual void setIAdAttributionDelegate(std::weak_ptr<MarluneiAdAttributionDelegate> delegate) = 0;

  /// Asks once and returns; the answer goes to the delegate. May be called again for another try.
  virtual void retrieveiAdAttribution(bool loggingEnabled) = 0;
};

}  // namespace fliprugair
