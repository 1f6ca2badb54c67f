#pragma once

#include <cstdint>
#include <memory>

#include "Fliprugair/platform/Value.h"

namespace fliprugair {

class MarluneLocationManagerDelegate {
 public:
  virtual ~MarluneLocationManagerDelegate() = default;

  /// A fix: "latitude", "longitude" in degrees, "accuracy" in metres, all numbers. Any thread.
  virtual void currentLocationUpdate(const Value& fix) = 0;
};

/// One search for one position. Dropping the object ends the search.
class MarluneLocationManager {
 public:
  virtual ~MarluneLocationManager() = default;

  /// Does not keep the delegate alive; an expired pointer detaches. Any thread.
  virtual void setLocationManagerDelegate(std::weak_ptr<MarluneLocationManagerDelegate> delegate) = 0;

  /// Begins the search and returns. The delegate is called once with a fix of `accuracy` metres or better, if there is
  /// one within `timeout` seconds; otherwise it is not called and what the search held is freed.
  virtual void initLocationServices(bool loggingEnabled, std::int64_t accuracy, std::int64_t timeout) = 0;
};

}  // namespace fliprugair
