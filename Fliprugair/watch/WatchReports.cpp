#include "Fliprugair/watch/WatchReports.h"

namespace fliprugair {

void WatchReports::handleWatchEvents(const Text& link, bool calledByTrackEvent) {
  const Text watchLink = link.string();
  UserDefaults& store = context_.store();
  if (!requests_.firstInitReceived()) {
    // Only one pairing is kept: a later one takes the place of the earlier.
    store.setObject(
        PairList().add("watchLink", watchLink.value()).add("calledByTrackEvent", calledByTrackEvent).dictionary(),
        key::handleWatchEventsDeferred);
    store.synchronize();
    return;
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
  context_.store().update(key::pairedAppleWatches, [&](const Value& stored) {
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
  store.update(key::trackWatchEventDeferred,
               [&](const Value& stored) { return Value(stored.array().appending(record)); });
  store.synchronize();
}

void WatchReports::replayDeferred() {
  UserDefaults& store = context_.store();
  if (const Value pairing = store.objectForKey(key::handleWatchEventsDeferred); pairing.isDictionary()) {
    handleWatchEvents(Text::of(pairing.dictionary()["watchLink"]),
                      pairing.dictionary()["calledByTrackEvent"].boolValue());
  }
  store.removeObject(key::handleWatchEventsDeferred);
  const Array events = store.arrayForKey(key::trackWatchEventDeferred).value_or(Array());
  for (const Value& event : events) {
    if (!event.isDictionary()) continue;
    events_.trackEvent(Text::of(event.dictionary()["eventTitle"]), Text::of(event.dictionary()["eventValue"]));
  }
  store.removeObject(key::trackWatchEventDeferred);
  store.synchronize();
}

}  // namespace fliprugair
