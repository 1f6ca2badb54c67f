#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Fliprugair/platform/Export.h"
#include "Fliprugair/platform/Text.h"
#include "Fliprugair/platform/URL.h"
#include "Fliprugair/platform/Value.h"
#include "Fliprugair/testing/Records.h"

namespace fliprugair {

class EventStandardParameters;
class MarluneRetrieveiAdAttribution;
class MarluneTrackerClientDelegate;

/// Stands in for a MarluneTracker in the tests of those who wrap it: the same operations, without constructors and
/// adapters, which do nothing but keep what they were called with. Code that is a template of the tracker's type, or
/// has a type of its own for it, takes either:
///
///     template <class Tracker>
///     void buy(Tracker& tracker) { tracker.trackEvent("Purchase", "9.99"); }
///
/// What the tracker refuses (an event without a title, identities that are no dictionary) is in calls() alone.
/// Threads: any.
class FLIPRUGAIR_EXPORT TrackerDouble final {
 public:
  TrackerDouble();
  ~TrackerDouble();
  TrackerDouble(const TrackerDouble&) = delete;
  TrackerDouble& operator=(const TrackerDouble&) = delete;

  // What it was called with.

  /// The names of the operations, in order: {"trackEvent", "identityLinkEvent"}.
  std::vector<std::string> calls() const;
  RecordedEvents events() const;             ///< the watch's included
  std::vector<Value> identityLinks() const;  ///< dictionaries
  std::vector<RecordedDeepLink> deepLinks() const;
  std::vector<std::string> watchLinks() const;  ///< "" for a watch without one
  std::optional<bool> limitAdTracking() const;  ///< none: it was not set

  /// From now on there is this attribution result (a dictionary); the delegate, if any, receives it.
  void setAttribution(const Value& attribution);

  // What MarluneTracker has.

  void enableConsoleLogging(bool enabled);
  void trackEvent(const Text& eventTitle, const Text& eventValue);
  void trackEvent(const Text& eventTitle, const Text& eventValue, const Text& encodedReceipt);
  void trackEventWithEventTitleString(const Text& eventTitleString, const Text& eventValueString, bool standardBool);
  void trackEventWithEventStandardParameters(const EventStandardParameters* eventStandardParameters);
  void identityLinkEvent(const Value& identityLinkData);
  void spatialEvent(const Text& eventTitle, float x, float y, float z);
  void sendDeepLink(const URL& url, const Text& sourceApplication);
  void setLimitAdTracking(bool limitAdTracking);
  Value retrieveAttribution() const;
  void handleWatchEvents();
  void handleWatchEvents(const Text& watchLink);
  void handleWatchEvents(const Text& watchLink, bool calledByTrackEvent);
  void trackWatchEvent(const Text& eventTitle, const Text& eventValue);
  std::shared_ptr<MarluneTrackerClientDelegate> trackerDelegate() const;
  void setTrackerDelegate(const std::shared_ptr<MarluneTrackerClientDelegate>& delegate);
  Value customIdString() const;
  void setCustomIdString(const Text& customIdString);
  std::shared_ptr<MarluneRetrieveiAdAttribution> iAdAttributionManager() const;
  void setIAdAttributionManager(std::shared_ptr<MarluneRetrieveiAdAttribution> manager);

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace fliprugair
