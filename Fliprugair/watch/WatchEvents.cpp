// Pairings and events of a watch companion, put off until the control host has answered once.

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/core/StoredKeys.h"
#include "platform/PairList.h"

namespace fliprugair {

void MarluneTracker::reportWatch(const Text& watchLink, bool calledByTrackEvent) {
  if (!store().boolForKey(key::firstInitReceived)) {
    // Only one pairing is kept: a later one takes the place of the earlier.
    store().setObject(
        PairList().add("watchLink", watchLink.value()).add("calledByTrackEvent", calledByTrackEvent).dictionary(),
        key::handleWatchEventsDeferred);
    store().synchronize();
    return;
  }
  const bool watchPairedAlreadySent = !addPairedWatch(watchLink);
  store().synchronize();
  if (watchPairedAlreadySent) return;
  trackEvent("Watch Install", watchLink);
  Value link = watchLink.value();
  if (watchLink.string().empty()) link = calledByTrackEvent ? "paired_passively" : "paired";
  identityLinkEvent(PairList().add("Apple Watch", link).dictionary());
}

/// Whether the link is new. A stored list that is no array counts as none.
bool MarluneTracker::addPairedWatch(const Text& watchLink) {
  const Array known = store().arrayForKey(key::pairedAppleWatches).value_or(Array());
  if (known.containsText(watchLink.string())) return false;
  store().setObject(known.appending(watchLink.value()), key::pairedAppleWatches);
  return true;
}

void MarluneTracker::reportWatchEvent(const Text& eventTitle, const Text& eventValue) {
  if (!store().arrayForKey(key::pairedAppleWatches) &&
      !store().objectForKey(key::handleWatchEventsDeferred).isDictionary()) {
    reportWatch("", true);
  }
  if (store().boolForKey(key::firstInitReceived)) {
    trackEvent(eventTitle, eventValue);
    return;
  }
  const Value record =
      PairList().add("eventTitle", eventTitle.value()).add("eventValue", eventValue.value()).dictionary();
  const Array deferred = store().arrayForKey(key::trackWatchEventDeferred).value_or(Array());
  store().setObject(deferred.appending(record), key::trackWatchEventDeferred);
  store().synchronize();
}

/// What was put off, once the install report has been answered.
void MarluneTracker::replayDeferredWatchEvents() {
  if (const Value pairing = store().objectForKey(key::handleWatchEventsDeferred); pairing.isDictionary()) {
    handleWatchEvents(Text::of(pairing.dictionary()["watchLink"]),
                      pairing.dictionary()["calledByTrackEvent"].boolValue());
  }
  store().removeObject(key::handleWatchEventsDeferred);
  const Array events = store().arrayForKey(key::trackWatchEventDeferred).value_or(Array());
  for (const Value& event : events) {
    if (!event.isDictionary()) continue;
    trackEvent(Text::of(event.dictionary()["eventTitle"]), Text::of(event.dictionary()["eventValue"]));
  }
  store().removeObject(key::trackWatchEventDeferred);
  store().synchronize();
}

}  // namespace fliprugair
