#pragma once

#include <string_view>

#include "Fliprugair/core/Context.h"
#include "Fliprugair/events/EventRecords.h"
#include "Fliprugair/events/RequestQueue.h"

namespace fliprugair {

namespace key {

// array of text: the watch links already reported
inline constexpr std::string_view pairedAppleWatches = "com.marlune.MarluneTracker.pairedAppleWatches";
// dictionary: a pairing put off; array of dictionaries: watch events put off
inline constexpr std::string_view handleWatchEventsDeferred = "com.marlune.MarluneTracker.handleWatchEventsDeferred";
inline constexpr std::string_view trackWatchEventDeferred = "com.marlune.MarluneTracker.trackWatchEventDeferred";

}  // namespace key

/// Pairings and events of a watch companion, put off until the control host has answered once.
class WatchReports {
 public:
  WatchReports(Context& context, EventRecords& events, const RequestQueue& requests)
      : context_(context), events_(events), requests_(requests) {}

  void handleWatchEvents(const Text& watchLink, bool calledByTrackEvent);
  void trackWatchEvent(const Text& eventTitle, const Text& eventValue);

  /// What was put off, once the install report has been answered.
  void replayDeferred();

 private:
  bool addPairedWatch(const Text& watchLink);
  bool removeDeferredPairing(const Value& pairing);
  void replayDeferredEvents();

  Context& context_;
  EventRecords& events_;
  const RequestQueue& requests_;
};

}  // namespace fliprugair
