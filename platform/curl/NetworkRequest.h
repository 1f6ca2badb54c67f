#pragma once

#include <memory>
#include <string>

#include "Fliprugair/collaborators/MarluneNetworkAccess.h"
#include "Fliprugair/platform/Application.h"
#include "Fliprugair/platform/Text.h"
#include "Fliprugair/platform/Value.h"
#include "platform/curl/ControlHostURL.h"

namespace fliprugair {

/// What a network collaborator was told, ready to travel.
struct NetworkRequest {
  ControlHostURL url;
  Value payload;  ///< a dictionary or an array
  Text eventTimestamp;
  BackgroundTaskIdentifier backgroundTask = invalidBackgroundTask;
  std::weak_ptr<MarluneNetworkAccessDelegate> delegate;
  bool loggingEnabled = false;
};

/// How a request ended.
struct NetworkOutcome {
  bool accepted = false;
  std::string reply;    ///< the host's bytes; "" when they are of no use
  std::string message;  ///< for the log
};

}  // namespace fliprugair
