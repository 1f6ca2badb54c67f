#include "Fliprugair/watch/WatchReports.h"

#include "platform/PairList.h"

namespace fliprugair {

void WatchReports::handleWatchEvents(const Text& link, bool calledByTrackEvent) {
  const Text watchLink = link.string();
  UserDefaults& store = context_.store();
  if (!requests_.firstInitReceived()) {
    // Only one pairing is kept: a later one takes the place of the earlier.
    const Value pairing =
        PairList().add("watchLink", watchLink.value()).add("calledByTrackEvent", calledByTrackEvent).dictionary();
    store.setObject(pairing, key::handleWatchEventsDeferred);
    store.synchronize();
    // If the first reply has come on another thread meanwhile, nobody may come back for what was put off.
    if (!requests_.firstInitReceived() || !removeDeferredPairing(pairing)) return;
  }
  const bool watchPairedAlreadySent = !addPairedWatch(watchLink);
  store.synchronize();
  if (watchPairedAlreadySent) return;
  events_.trackEvent("Watch Install", watchLink);
  Value pairing = watchLink.value();
  if (watchLink.string().empty()) pairing = calledByTrackEvent ? "paired_passively" : "paired";
  events_.identityLinkEvent(PairList().add("Apple Watch", pairing).dictionary());
}

/// Whether the link is new. A stored list that is no array counts as none.
bool WatchReports::addPairedWatch(const Text& watchLink) {
  bool isNew = false;
  context_.update(key::pairedAppleWatches, [&](const Value& stored) {
    const Array known = stored.array();
    isNew = !known.containsText(watchLink.string());
    return isNew ? Value(known.appending(watchLink.value())) : stored;
  });
  return isNew;
}

void WatchReports::trackWatchEvent(const Text& eventTitle, const Text& eventValue) {
  UserDefaults& store = context_.store();
  if (!store.arrayForKey(key::pairedAppleWatches) &&
      !store.objectForKey(key::handleWatchEventsDeferred).isDictionary()) {
    handleWatchEvents("", true);
  }
  if (requests_.firstInitReceived()) {
    events_.trackEvent(eventTitle, eventValue);
    return;
  }
  const Value record =
      PairList().add("eventTitle", eventTitle.value()).add("eventValue", eventValue.value()).dictionary();
  context_.update(key::trackWatchEventDeferred,
                  [&](const Value& stored) { return Value(stored.array().appending(record)); });
  store.synchronize();
  if (requests_.firstInitReceived()) replayDeferredEvents();
}

void WatchReports::replayDeferred() {
  if (const Value pairing = context_.store().objectForKey(key::handleWatchEventsDeferred); pairing.isDictionary()) {
    handleWatchEvents(Text::of(pairing.dictionary()["watchLink"]),
                      pairing.dictionary()["calledByTrackEvent"].boolValue());
    removeDeferredPairing(pairing);
  } else {
    context_.store().removeObject(key::handleWatchEventsDeferred);
  }
  replayDeferredEvents();
  context_.store().synchronize();
}

/// Whether `pairing` was still there, in whatever form; another one stays.
bool WatchReports::removeDeferredPairing(const Value& pairing) {
  const auto linkOf = [](const Value& put) { return Text::of(put.dictionary()["watchLink"]).string(); };
  const auto isOfAnEvent = [](const Value& put) { return put.dictionary()["calledByTrackEvent"].boolValue(); };
  bool wasThere = false;
  context_.update(key::handleWatchEventsDeferred, [&](const Value& stored) {
    wasThere =
        stored.isDictionary() && linkOf(stored) == linkOf(pairing) && isOfAnEvent(stored) == isOfAnEvent(pairing);
    return wasThere ? Value() : stored;
  });
  return wasThere;
}

/// Each thread replays what it has taken, so that no event is replayed twice.
void WatchReports::replayDeferredEvents() {
  Array events;
  context_.update(key::trackWatchEventDeferred, [&](const Value& stored) {
    events = stored.array();
    return Value();
  });
  for (const Value& event : events) {
    if (!event.isDictionary()) continue;
    events_.trackEvent(Text::of(event.dictionary()["eventTitle"]), Text::of(event.dictionary()["eventValue"]));
  }
}

}  // namespace fliprugair
