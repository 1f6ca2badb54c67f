#pragma once

#include <memory>
#include <string_view>

#include "Fliprugair/platform/Application.h"
#include "Fliprugair/platform/Text.h"
#include "Fliprugair/platform/Value.h"

namespace fliprugair {

namespace key {

/// Stored by a tracker and its network collaborators together: dictionaries by event timestamp, of what is being sent
/// (true) and of the requests that the host has not accepted yet.
inline constexpr std::string_view eventsSending = "com.marlune.marluneTracker.eventsSending";
inline constexpr std::string_view networkQueue = "com.marlune.marluneTracker.networkQueue";

}  // namespace key

/// Who receives what becomes of the requests of a network collaborator. Every method is optional. Called on the
/// collaborator's thread. When a collaborator reports the first two and the last is its own business.
class MarluneNetworkAccessDelegate {
 public:
  virtual ~MarluneNetworkAccessDelegate() = default;

  virtual void MarluneConnectionDidFinishLoading(const Value& /*connection*/) {}
  virtual void MarluneConnectionDidFailWithError(const Value& /*error*/) {}
  /// The parsed reply, a dictionary, to a request of action "get_attribution", "init" and "initial".
  virtual void MarluneRetrieveAttribution(const Value& /*reply*/) {}
  virtual void MarluneInitResult(const Value& /*reply*/) {}
  virtual void MarluneInitialResult(const Value& /*reply*/) {}
  virtual void MarluneBackgroundFlushCompleted() {}
};

/// Posts one request to the control host. A fresh object for every request; it is configured, told to send, and
/// dropped.
///
/// For a request with an event timestamp the collaborator lists the timestamp in key::eventsSending from before the
/// send returns until the request ends, and removes the entry from key::networkQueue when the host has accepted the
/// request. Then it calls the delegate's method that belongs to the request's "action", if the delegate still lives and
/// the reply is a dictionary. A request that fails stays in the queue and reaches no method. A valid background task is
/// ended last, either way.
class MarluneNetworkAccess {
 public:
  virtual ~MarluneNetworkAccess() = default;

  virtual void setLoggingEnabled(bool enabled) = 0;
  /// Does not keep the delegate alive. Without one, no method is called.
  virtual void setNetworkAccessDelegate(std::weak_ptr<MarluneNetworkAccessDelegate> delegate) = 0;
  /// The key of the request in the network queue; null for a request that is not queued.
  virtual void setEventTimestamp(const Text& timestamp) = 0;
  virtual void setBackgroundTask(BackgroundTaskIdentifier task) = 0;

  /// Begins the request and returns without waiting for the network. `payload` is a dictionary or the array of a batch;
  /// null transmits nothing. A batch that has waited since an earlier start is read from the store when it is looked
  /// into or made to text, which may throw a std::exception: the request has then failed. False when it could not be
  /// begun.
  virtual bool sendHTTPRequestWithHostname(const std::string& hostname, const Value& payload) = 0;
};

}  // namespace fliprugair
