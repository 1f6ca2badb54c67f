#pragma once

#include "Fliprugair/platform/Text.h"
#include "Fliprugair/platform/Value.h"

namespace fliprugair {

/// A structured event as the control host knows it. A host app derives its own. What the methods throw as a
/// std::exception is logged with its reason and ends the call without a record.
class EventStandardParameters {
 public:
  virtual ~EventStandardParameters() = default;

  virtual Text serverEventNameString() const = 0;
  /// A dictionary, or null.
  virtual Value serverEventDataDictionary() const = 0;
};

}  // namespace fliprugair
