#include "platform/curl/RequestLedger.h"

#include <exception>
#include <optional>

namespace fliprugair {

namespace {

constexpr std::size_t replyDepth = 64;

using Callback = void (MarluneNetworkAccessDelegate::*)(const Value&);

/// A null pointer for an action whose reply nobody wants.
Callback callbackOf(const std::string& action) {
  if (action == "init") return &MarluneNetworkAccessDelegate::MarluneInitResult;
  if (action == "initial") return &MarluneNetworkAccessDelegate::MarluneInitialResult;
  if (action == "get_attribution") return &MarluneNetworkAccessDelegate::MarluneRetrieveAttribution;
  return nullptr;
}

std::string actionOf(const Value& payload) { return payload.dictionary()["action"].text(); }

std::string described(const Value& payload) {
  if (payload.isArray()) return "batch of " + std::to_string(payload.array().size());
  return payload.isDictionary() ? '"' + actionOf(payload) + '"' : "nothing";
}

void removeEntry(UserDefaults& store, std::string_view key, const std::string& eventTimestamp) {
  store.update(key, [&](const Value& entries) {
    return entries.isDictionary() ? Value(entries.dictionary().removing(eventTimestamp)) : entries;
  });
}

}  // namespace

void RequestLedger::list(const NetworkRequest& request) {
  if (request.eventTimestamp.isNull()) return;
  store_.update(key::eventsSending, [&](const Value& entries) {
    return Value(entries.dictionary().setting(request.eventTimestamp.string(), true));
  });
}

void RequestLedger::refuse(const NetworkRequest& request, std::string_view reason) {
  report(request, reason);
  endBackgroundTask(request);
}

void RequestLedger::end(const NetworkRequest& request, const NetworkOutcome& outcome) {
  strike(request.eventTimestamp, outcome.accepted);
  report(request, outcome.message);
  if (outcome.accepted) deliver(request, outcome.reply);
  endBackgroundTask(request);
}

void RequestLedger::endAll(const std::vector<NetworkRequest>& requests, const NetworkOutcome& outcome) {
  const StoreGroup group(store_);
  for (const NetworkRequest& request : requests) end(request, outcome);
}

void RequestLedger::strike(const Text& eventTimestamp, bool accepted) {
  if (eventTimestamp.isNull()) return;
  const StoreGroup group(store_);
  removeEntry(store_, key::eventsSending, eventTimestamp.string());
  if (accepted) removeEntry(store_, key::networkQueue, eventTimestamp.string());
  store_.synchronize();
}

void RequestLedger::deliver(const NetworkRequest& request, const std::string& reply) {
  const Callback callback = callbackOf(actionOf(request.payload));
  if (callback == nullptr) return;
  const std::shared_ptr<MarluneNetworkAccessDelegate> delegate = request.delegate.lock();
  if (delegate == nullptr) return;
  const std::optional<Value> value = json_.value(reply, replyDepth);
  if (!value || !value->isDictionary()) return;

  const auto exceptionCaught = [&](std::string_view reason) {
    log("Marlune library - EXCEPTION (CAUGHT) in the reply to " + described(request.payload) + " - " +
        std::string(reason));
  };
  try {
    (delegate.get()->*callback)(*value);
  } catch (const std::exception& exception) {
    exceptionCaught(exception.what());
  } catch (...) {
    exceptionCaught("not a std::exception");
  }
}

void RequestLedger::endBackgroundTask(const NetworkRequest& request) {
  if (request.backgroundTask != invalidBackgroundTask) application_.endBackgroundTask(request.backgroundTask);
}

void RequestLedger::report(const NetworkRequest& request, std::string_view message) {
  if (!request.loggingEnabled) return;
  const std::string destination = request.url.text.empty() ? "" : " to " + request.url.text;
  log("Marlune library - request " + described(request.payload) + destination + ": " + std::string(message));
}

void RequestLedger::log(std::string_view line) {
  try {
    log_(line);
  } catch (...) {
    // There is nobody left to tell.
  }
}

}  // namespace fliprugair
