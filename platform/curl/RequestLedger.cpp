#include "platform/curl/RequestLedger.h"

#include <exception>
#include <optional>

#include "platform/Joined.h"
#include "platform/UnreadValue.h"

namespace fliprugair {

namespace {

constexpr std::size_t replyDepth = 64;  // levels

using Callback = void (MarluneNetworkAccessDelegate::*)(const Value&);

/// A null pointer for an action whose reply nobody wants.
Callback callbackOf(const std::string& action) {
  if (action == "init") return &MarluneNetworkAccessDelegate::MarluneInitResult;
  if (action == "initial") return &MarluneNetworkAccessDelegate::MarluneInitialResult;
  if (action == "get_attribution") return &MarluneNetworkAccessDelegate::MarluneRetrieveAttribution;
  return nullptr;
}

std::string destinationOf(const NetworkRequest& request) {
  return request.url.text.empty() ? "" : " to " + request.url.text;
}

std::string actionOf(const Value& payload) { return payload.dictionary()["action"].text(); }

std::string described(const Value& payload) {
  if (payload.isArray()) return "batch of " + std::to_string(UnreadValue::sizeOfArray(payload));
  return payload.isDictionary() ? joined({"\"", actionOf(payload), "\""}) : "nothing";
}

void removeEntry(UserDefaults& store, std::string_view key, const std::string& eventTimestamp) {
  store.update(key, [&](const Value& entries) {
    return entries.isDictionary() ? Value(entries.dictionary().removing(eventTimestamp)) : entries;
  });
}

}  // namespace

template <class Line>
void RequestLedger::log(const Line& line) noexcept {
  try {
    log_(line());
  } catch (...) {
    // There is nobody left to tell.
  }
}

template <class Call>
bool RequestLedger::guarded(std::string_view what, const NetworkRequest& request, const Call& call) noexcept {
  try {
    call();
    return true;
  } catch (const std::exception& exception) {
    logException(what, request, exception.what());
  } catch (...) {
    logException(what, request, "not a std::exception");
  }
  return false;
}

void RequestLedger::logException(std::string_view what, const NetworkRequest& request,
                                 std::string_view reason) noexcept {
  log([&] {
    return joined({"Marlune library - EXCEPTION (CAUGHT) in ", what, " ", described(request.payload), " - ", reason});
  });
}

bool RequestLedger::begin(const NetworkRequest& request, const std::function<void()>& leave) {
  return guarded("the store before", request, [&] {
    if (!request.eventTimestamp.isNull()) {
      store_.update(key::eventsSending, [&](const Value& entries) {
        return Value(entries.dictionary().setting(request.eventTimestamp.string(), true));
      });
    }
    store_.whenDurable(leave);
  });
}

void RequestLedger::refuse(const NetworkRequest& request, std::string_view reason) {
  report(request, reason);
  // Without a payload it is no request: a flush of records that are gone.
  if (!request.payload.isNull() && advises_->exchange(false)) advise(request, reason);
  endBackgroundTask(request);
}

void RequestLedger::together(const NetworkRequest& first, const std::function<void()>& confirmations) {
  const bool isGroup = guarded("the store after", first, [&] { store_.beginGroup(); });
  confirmations();
  if (isGroup) guarded("the store after", first, [&] { store_.endGroup(); });
}

void RequestLedger::confirm(const NetworkRequest& request) {
  if (request.eventTimestamp.isNull()) return;
  guarded("the store after", request, [&] {
    removeEntry(store_, key::networkQueue, request.eventTimestamp.string());
    store_.synchronize();
  });
}

void RequestLedger::end(const NetworkRequest& request, const NetworkOutcome& outcome) {
  if (!request.eventTimestamp.isNull()) {
    guarded("the store after", request,
            [&] { removeEntry(store_, key::eventsSending, request.eventTimestamp.string()); });
  }
  report(request, outcome.message);
  if (advises_->exchange(false) && !outcome.accepted) advise(request, outcome.message);
  if (outcome.accepted) deliver(request, outcome.reply);
  endBackgroundTask(request);
}

void RequestLedger::deliver(const NetworkRequest& request, const std::string& reply) {
  guarded("the reply to", request, [&] {
    const Callback callback = callbackOf(actionOf(request.payload));
    if (callback == nullptr) return;
    const std::shared_ptr<MarluneNetworkAccessDelegate> delegate = request.delegate.lock();
    if (delegate == nullptr) return;
    const std::optional<Value> value = json_.value(reply, replyDepth);
    if (value && value->isDictionary()) return (delegate.get()->*callback)(*value);
    if (reply.empty()) return;
    report(request,
           "reply not used: it is no JSON object, or nests deeper than " + std::to_string(replyDepth) + " levels");
  });
}

void RequestLedger::endBackgroundTask(const NetworkRequest& request) {
  if (request.backgroundTask == invalidBackgroundTask) return;
  guarded("the background task of", request, [&] { application_.endBackgroundTask(request.backgroundTask); });
}

void RequestLedger::advise(const NetworkRequest& request, std::string_view message) {
  constexpr std::string_view hint =
      ". See that \"trackerHostname\" names your control host (with its port) and that it can be reached from here; "
      "\"enableLogging\" shows every request.";
  log([&] {
    return joined({"Marlune library - the first request", destinationOf(request), ": ", message, hint,
                   request.eventTimestamp.isNull() ? " It is made again by a later start."
                                                   : " It waits, and is sent again at a later activation."});
  });
}

void RequestLedger::report(const NetworkRequest& request, std::string_view message) {
  if (!request.loggingEnabled) return;
  log([&] {
    return joined({"Marlune library - request ", described(request.payload), destinationOf(request), ": ", message});
  });
}

}  // namespace fliprugair
