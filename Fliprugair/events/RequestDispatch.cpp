// How every request leaves: entered in the persisted network queue, then sent by a fresh collaborator.

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/core/ProcessState.h"
#include "Fliprugair/core/StoredKeys.h"

namespace fliprugair {

namespace {

// 2001-01-01 00:00 UTC, the reference date of event timestamps, in seconds since 1970.
constexpr double referenceDate = 978307200;

}  // namespace

/// Answers with the timestamp that keys the entry. Two requests under one timestamp share the entry.
std::string MarluneTracker::enqueueMarluneEvent(const Value& trackingObject) {
  std::string eventTimestamp = fixedText(platform().secondsSince1970() - referenceDate);
  Dictionary marluneEventQueue = store().objectForKey(key::networkQueue).dictionary();
  if (!trackingObject.isNull()) marluneEventQueue = marluneEventQueue.setting(eventTimestamp, trackingObject);
  store().setObject(marluneEventQueue, key::networkQueue);
  store().synchronize();
  return eventTimestamp;
}

bool MarluneTracker::isEventSending(std::string_view eventTimestamp) const {
  return !store().objectForKey(key::eventsSending).dictionary()[eventTimestamp].isNull();
}

void MarluneTracker::enqueueAndSend(const Value& payload) {
  const std::string eventTimestamp = enqueueMarluneEvent(payload);
  send(payload, eventTimestamp, Replies::delivered, invalidBackgroundTask);
}

void MarluneTracker::send(const Value& payload, const Text& eventTimestamp, Replies replies,
                          BackgroundTaskIdentifier task) {
  const auto networkAccess = environment_.makeNetworkAccess();
  networkAccess->setLoggingEnabled(loggingEnabled());
  if (replies == Replies::delivered) networkAccess->setNetworkAccessDelegate(weak_from_this());
  networkAccess->setEventTimestamp(eventTimestamp);
  networkAccess->setBackgroundTask(task);
  networkAccess->sendHTTPRequestWithHostname(state().trackerHostname.load().text(), payload);
}

/// Offers again what is not in flight. No delegate is set: a resent request's reply reaches no callback, deliberately.
void MarluneTracker::resendQueuedRequests() {
  const Dictionary queue = store().objectForKey(key::networkQueue).dictionary();
  for (const Dictionary::Entry& entry : queue.entries()) {
    if (!store().boolForKey(key::firstInitReceived)) continue;
    if (isEventSending(entry.key())) continue;
    send(entry.value, entry.key(), Replies::ignored, invalidBackgroundTask);
  }
}

}  // namespace fliprugair
