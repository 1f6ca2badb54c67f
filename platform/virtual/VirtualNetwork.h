#pragma once

#include <map>
#include <memory>

#include "Fliprugair/collaborators/MarluneNetworkAccess.h"
#include "platform/virtual/VirtualDevice.h"

namespace fliprugair {

/// The network of one virtual process: requests stay pending until somebody answers them.
class VirtualNetwork {
 public:
  VirtualNetwork(VirtualDevice& device, Application& application) : device_(device), application_(application) {}

  std::shared_ptr<MarluneNetworkAccess> makeAccess();

  /// The host accepts the pending request and replies with `body`. False, and nothing is done, when it is not pending.
  bool reply(std::uint64_t request, const Value& body);
  /// The pending request fails. False when it is not pending.
  bool fail(std::uint64_t request);
  /// The requests that have not ended, in the order in which they were sent.
  std::vector<std::uint64_t> pending() const;

 private:
  class Access;
  struct Request {
    std::string hostname;
    Value payload;
    Value eventTimestamp;
    bool hasDelegate = false;
    std::weak_ptr<MarluneNetworkAccessDelegate> delegate;
    BackgroundTaskIdentifier backgroundTask = invalidBackgroundTask;
    bool logging = false;
  };

  void send(Request request);
  std::optional<Request> take(std::uint64_t request);
  void removeFrom(std::string_view key, const Value& eventTimestamp);
  static void deliver(const Request& request, const Value& body);

  VirtualDevice& device_;
  Application& application_;
  mutable std::mutex mutex_;
  std::map<std::uint64_t, Request> pending_;
};

}  // namespace fliprugair
