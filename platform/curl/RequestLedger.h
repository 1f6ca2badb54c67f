#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Fliprugair/platform/JSONSerialization.h"
#include "Fliprugair/platform/UserDefaults.h"
#include "platform/curl/NetworkRequest.h"

namespace fliprugair {

/// What is due around a request besides its transport: the entries in the store, the delegate's call, the end of the
/// background task, the log line. Owned by the network thread; `list` and `refuse` are called by the senders' threads.
/// Holds no lock.
class RequestLedger {
 public:
  using Log = std::function<void(std::string_view)>;

  RequestLedger(UserDefaults& store, const JSONSerialization& json, Application& application, Log log)
      : store_(store), json_(json), application_(application), log_(std::move(log)) {}

  /// Lists the request as being sent. Not made durable: every start of the tracker empties the list.
  void list(const NetworkRequest& request);

  /// A request that could not be begun, and was not listed.
  void refuse(const NetworkRequest& request, std::string_view reason);

  void end(const NetworkRequest& request, const NetworkOutcome& outcome);

  /// Several requests that end in one way; the store is written once.
  void endAll(const std::vector<NetworkRequest>& requests, const NetworkOutcome& outcome);

 private:
  void strike(const Text& eventTimestamp, bool accepted);
  void deliver(const NetworkRequest& request, const std::string& reply);
  void endBackgroundTask(const NetworkRequest& request);
  void report(const NetworkRequest& request, std::string_view message);
  void log(std::string_view line);

  UserDefaults& store_;
  const JSONSerialization& json_;
  Application& application_;
  Log log_;
};

}  // namespace fliprugair
