#pragma once

#include <memory>
#include <string>

#include "Fliprugair/collaborators/MarluneLocationManager.h"
#include "Fliprugair/collaborators/MarluneNetworkAccess.h"

namespace fliprugair {

/// Stands in where there is no network access to be had: nothing can be sent.
class NoNetworkAccess final : public MarluneNetworkAccess {
 public:
  void setLoggingEnabled(bool /*enabled*/) override {}
  void setNetworkAccessDelegate(std::weak_ptr<MarluneNetworkAccessDelegate> /*delegate*/) override {}
  void setEventTimestamp(const Text& /*timestamp*/) override {}
  void setBackgroundTask(BackgroundTaskIdentifier /*task*/) override {}
  bool sendHTTPRequestWithHostname(const std::string& /*hostname*/, const Value& /*payload*/) override { return false; }
};

/// Stands in where there is no position service: its searches find nothing.
class NoLocationManager final : public MarluneLocationManager {
 public:
  void setLocationManagerDelegate(std::weak_ptr<MarluneLocationManagerDelegate> /*delegate*/) override {}
  void initLocationServices(bool /*loggingEnabled*/, std::int64_t /*accuracy*/, std::int64_t /*timeout*/) override {}
};

}  // namespace fliprugair
