#include "platform/virtual/VirtualNetwork.h"

namespace fliprugair {

class VirtualNetwork::Access final : public MarluneNetworkAccess {
 public:
  explicit Access(VirtualNetwork& network) : network_(network) {}

  void setLoggingEnabled(bool enabled) override { request_.logging = enabled; }
  void setNetworkAccessDelegate(std::weak_ptr<MarluneNetworkAccessDelegate> delegate) override {
    request_.hasDelegate = !delegate.expired();
    request_.delegate = std::move(delegate);
  }
  void setEventTimestamp(const Text& timestamp) override { request_.eventTimestamp = timestamp.value(); }
  void setBackgroundTask(BackgroundTaskIdentifier task) override { request_.backgroundTask = task; }

  bool sendHTTPRequestWithHostname(const std::string& hostname, const Value& payload) override {
    request_.hostname = hostname;
    request_.payload = payload;
    network_.send(request_);
    return true;
  }

 private:
  VirtualNetwork& network_;
  Request request_;
};

std::shared_ptr<MarluneNetworkAccess> VirtualNetwork::makeAccess() { return std::make_shared<Access>(*this); }

void VirtualNetwork::send(Request request) {
  const std::uint64_t number = device_.nextRequest();
  const Value task = request.backgroundTask == invalidBackgroundTask ? Value() : Value(request.backgroundTask);
  device_.write({"send", [&](PairList& event) {
                   event.set("request", number)
                       .set("hostname", request.hostname)
                       .set("payload", request.payload)
                       .set("event_timestamp", request.eventTimestamp)
                       .set("delegate", request.hasDelegate)
                       .set("background_task", task)
                       .set("logging", request.logging);
                 }});
  if (!request.eventTimestamp.isNull()) {
    device_.store.update(key::eventsSending, [&](const Value& sending) -> Value {
      return sending.dictionary().setting(request.eventTimestamp.text(), true);
    });
  }
  const std::lock_guard lock(mutex_);
  pending_.emplace(number, std::move(request));
}

std::optional<VirtualNetwork::Request> VirtualNetwork::take(std::uint64_t request) {
  const std::lock_guard lock(mutex_);
  const auto found = pending_.find(request);
  if (found == pending_.end()) return std::nullopt;
  Request taken = std::move(found->second);
  pending_.erase(found);
  return taken;
}

std::vector<std::uint64_t> VirtualNetwork::pending() const {
  const std::lock_guard lock(mutex_);
  std::vector<std::uint64_t> numbers;
  for (const auto& [number, request] : pending_) numbers.push_back(number);
  return numbers;
}

bool VirtualNetwork::reply(std::uint64_t number, const Value& body) {
  const auto request = take(number);
  if (!request) return false;
  removeFrom(key::eventsSending, request->eventTimestamp);
  removeFrom(key::networkQueue, request->eventTimestamp);
  if (body.isDictionary()) deliver(*request, body);
  if (request->backgroundTask != invalidBackgroundTask) application_.endBackgroundTask(request->backgroundTask);
  return true;
}

bool VirtualNetwork::fail(std::uint64_t number) {
  const auto request = take(number);
  if (!request) return false;
  removeFrom(key::eventsSending, request->eventTimestamp);
  if (request->backgroundTask != invalidBackgroundTask) application_.endBackgroundTask(request->backgroundTask);
  return true;
}

/// A dictionary that becomes empty stays; what is no dictionary is left alone.
void VirtualNetwork::removeFrom(std::string_view key, const Value& eventTimestamp) {
  if (eventTimestamp.isNull()) return;
  device_.store.update(key, [&](const Value& entries) -> Value {
    return entries.isDictionary() ? Value(entries.dictionary().removing(eventTimestamp.text())) : entries;
  });
}

void VirtualNetwork::deliver(const Request& request, const Value& body) {
  const auto delegate = request.delegate.lock();
  if (delegate == nullptr) return;
  const std::string action = request.payload.dictionary()["action"].text();
  if (action == "init") delegate->MarluneInitResult(body);
  if (action == "initial") delegate->MarluneInitialResult(body);
  if (action == "get_attribution") delegate->MarluneRetrieveAttribution(body);
}

}  // namespace fliprugair
