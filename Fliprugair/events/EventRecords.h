#pragma once

#include <string_view>

#include "Fliprugair/collaborators/EventStandardParameters.h"
#include "Fliprugair/core/Context.h"
#include "Fliprugair/core/RequestEnvelope.h"
#include "Fliprugair/environment/SessionClock.h"
#include "Fliprugair/events/BatchQueue.h"
#include "Fliprugair/platform/URL.h"

namespace fliprugair {

namespace key {

// text: the last known position
inline constexpr std::string_view deviceLatitude = "com.marlune.MarluneTracker.deviceLatitude";
inline constexpr std::string_view deviceLongitude = "com.marlune.MarluneTracker.deviceLongitude";
// array of text: event titles that the control host forbids
inline constexpr std::string_view blacklistedEventNames = "com.marlune.MarluneTracker.blacklistedEventNames";

}  // namespace key

/// The records that the host app's event calls become.
class EventRecords {
 public:
  struct Shared {
    Locked<Value> blacklistedEventNames;  ///< array of text
  };

  EventRecords(Context& context, Shared& shared, BatchQueue& batch, const RequestEnvelope& envelope,
               const Identity& identity, SessionClock& clock, const JSONSerialization& json)
      : context_(context),
        shared_(shared),
        batch_(batch),
        envelope_(envelope),
        identity_(identity),
        clock_(clock),
        json_(json) {}

  // What they mean stands with the public operations of the same names.
  void trackEvent(const Text& eventTitle, const Text& eventValue);
  void trackEvent(const Text& eventTitle, const Text& eventValue, const Text& encodedReceipt);
  void trackEventWithEventTitleString(const Text& eventTitleString, const Text& eventValueString, bool standardBool);
  void trackEventWithEventStandardParameters(const EventStandardParameters* eventStandardParameters);
  void identityLinkEvent(const Value& identityLinkData);
  void spatialEvent(const Text& eventTitle, float x, float y, float z);
  void sendDeepLink(const URL& url, const Text& sourceApplication);

  /// An array is the control host's new list; anything else changes nothing.
  void adoptBlacklist(const Value& names);
  /// The list as it was stored, for a start that asks for no settings.
  void restoreBlacklist();
  void reset() { shared_.blacklistedEventNames.store(Array()); }
  /// A position of an earlier start is not this one's.
  void clearPosition();

 private:
  void eventNetworkTransactionWithEventStandardParameters(const EventStandardParameters* eventStandardParameters);
  void eventNetworkTransactionWithNameString(const Text& nameString, const Value& dataDictionary, bool standardBool);
  bool refuses(const Text& eventTitle, std::string_view method, int line) const;
  void addEvent(PairText& data, const Text& eventTitle, const Text& eventValue) const;
  void addCurrencyAndPosition(PairText& data) const;
  void append(PairText& trackingData);

  Context& context_;
  Shared& shared_;
  BatchQueue& batch_;
  const RequestEnvelope& envelope_;
  const Identity& identity_;
  SessionClock& clock_;
  const JSONSerialization& json_;
};

}  // namespace fliprugair
