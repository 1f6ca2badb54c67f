#pragma once

#include <chrono>
#include <memory>
#include <optional>
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
  std::string reply;       ///< the host's bytes; "" when they are of no use
  std::string message;     ///< for the log
  bool isVerdict = false;  ///< the host has dealt with this very request: accepted it, or found fault with it alone
  std::chrono::seconds retryAfter{0};  ///< for how long the host wishes to be left alone
  bool isNotRead = false;              ///< because it was compressed, although the host had asked for that
  std::optional<bool> takesGzip = {};  ///< what the host says about the bodies to come, if it does
};

}  // namespace fliprugair
