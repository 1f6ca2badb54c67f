#include "Fliprugair/events/RequestQueue.h"

#include "Fliprugair/core/Defaults.h"
#include "platform/ReferenceDate.h"

namespace fliprugair {

std::string RequestQueue::enqueueMarluneEvent(const Value& trackingObject) { return enqueue(trackingObject, false); }

std::string RequestQueue::enqueue(const Value& payload, bool isOnTheWay) {
  const std::string eventTimestamp = fixedText(context_.secondsSince1970() - referenceDate);
  // Before the entry can be seen: an activation on another thread offers what it finds.
  if (isOnTheWay) shared_.onTheWay.add(eventTimestamp);
  context_.update(key::networkQueue, [&](const Value& stored) {
    const Dictionary queue = stored.dictionary();
    return Value(payload.isNull() ? queue : queue.setting(eventTimestamp, payload));
  });
  context_.store().synchronize();
  return eventTimestamp;
}

bool RequestQueue::isEventSending(std::string_view eventTimestamp) const {
  return !context_.store().objectForKey(key::eventsSending).dictionary()[eventTimestamp].isNull();
}

void RequestQueue::enqueueAndSend(const Value& payload) {
  enqueueAndSend(
      payload, [&] { return payload; }, invalidBackgroundTask);
}

void RequestQueue::enqueueAndSend(const Value& enqueued, FunctionRef<Value()> payload, BackgroundTaskIdentifier task) {
  const std::string eventTimestamp = enqueue(enqueued, true);
  context_.guarded([&] { send(payload(), eventTimestamp, Replies::delivered, task); });
  shared_.onTheWay.remove(eventTimestamp);
}

void RequestQueue::sendUnqueued(const Value& payload) {
  send(payload, nullptr, Replies::delivered, invalidBackgroundTask);
}

/// A collaborator that throws costs this request, which then waits in its queue: whatever the caller does next still
/// happens.
void RequestQueue::send(const Value& payload, const Text& eventTimestamp, Replies replies,
                        BackgroundTaskIdentifier task) {
  context_.guarded([&] {
    const auto networkAccess = environment_.makeNetworkAccess();
    networkAccess->setLoggingEnabled(context_.loggingEnabled());
    if (replies == Replies::delivered) networkAccess->setNetworkAccessDelegate(context_.owner());
    networkAccess->setEventTimestamp(eventTimestamp);
    networkAccess->setBackgroundTask(task);
    networkAccess->sendHTTPRequestWithHostname(shared_.trackerHostname.load().text(), payload);
  });
}

/// No delegate is set: a resent request's reply reaches no callback, deliberately.
void RequestQueue::resendQueuedRequests() {
  const Dictionary queue = context_.store().objectForKey(key::networkQueue).dictionary();
  for (const Dictionary::Entry& entry : queue.entries()) {
    if (!firstInitReceived()) continue;
    if (isToBeOffered(entry.key())) send(entry.value, entry.key(), Replies::ignored, invalidBackgroundTask);
  }
}

/// In this order: a request is listed before it has left the way, and its entry is gone before it leaves the list.
bool RequestQueue::isToBeOffered(std::string_view eventTimestamp) const {
  if (shared_.onTheWay.has(eventTimestamp) || isEventSending(eventTimestamp)) return false;
  return context_.store().objectForKey(key::networkQueue).dictionary().holds(eventTimestamp);
}

void RequestQueue::storeDefaults() { storeBoolIfAbsent(context_.store(), key::firstInitReceived, false); }

}  // namespace fliprugair
