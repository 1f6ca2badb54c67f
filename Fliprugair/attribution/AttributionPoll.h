#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "Fliprugair/MarluneTrackerClientDelegate.h"
#include "Fliprugair/core/Context.h"
#include "Fliprugair/core/RequestEnvelope.h"
#include "Fliprugair/core/TimerReference.h"
#include "Fliprugair/events/RequestQueue.h"
#include "Fliprugair/install/InstallReport.h"

namespace fliprugair {

namespace key {

inline constexpr std::string_view requestAttribution =
    "com.marlune.MarluneTracker.requestAttribution";  // boolean: the result is wanted and not there yet
inline constexpr std::string_view attribution = "com.marlune.MarluneTracker.attribution";  // dictionary: the result
inline constexpr std::string_view attributionWait =
    "com.marlune.MarluneTracker.attributionWait";  // integer, seconds from the install report to the first question

}  // namespace key

/// The attribution result: waiting for the install report, asking until the answer is final, and delivering it.
class AttributionPoll {
 public:
  struct Shared {
    TimerReference marluneAttributionCheckTimer;
    TimerReference marluneAttributionTimer;

    void stopTimers() {
      stop(marluneAttributionCheckTimer);
      stop(marluneAttributionTimer);
    }
  };

  AttributionPoll(Context& context, Shared& shared, RequestQueue& requests, const RequestEnvelope& envelope,
                  SearchAdAttribution& searchAd, InstallReport& installReport, const JSONSerialization& json)
      : context_(context),
        shared_(shared),
        requests_(requests),
        envelope_(envelope),
        searchAd_(searchAd),
        installReport_(installReport),
        json_(json) {}

  /// The stored result; null while there is none.
  Value retrieveAttribution() const { return context_.store().objectForKey(key::attribution); }
  /// The same as compact JSON text; "" when there is none.
  std::string retrieveAttributionText() const;
  bool isRequested() const { return context_.store().boolForKey(key::requestAttribution); }
  bool isMissing() const { return isRequested() && retrieveAttribution().isNull(); }

  /// The check runs once a second while the install report is due, which it also hands over.
  void armCheckTimer();
  void MarluneRetrieveAttribution(const Dictionary& reply);

  /// What is stored already is not asked for again.
  void storeRequest(bool wanted);
  void adoptWait(std::int64_t seconds);
  void reset();

  // A property of the tracker, which does not keep its delegate alive.
  std::shared_ptr<MarluneTrackerClientDelegate> trackerDelegate() const { return trackerDelegate_.load().lock(); }
  void setTrackerDelegate(const std::shared_ptr<MarluneTrackerClientDelegate>& delegate) {
    trackerDelegate_.store(delegate);
  }

 private:
  void armTimer(double seconds);
  void marluneAttributionCheckTimerFired();
  void marluneAttributionTimerFired();
  void deliver(const Value& answer);

  Context& context_;
  Shared& shared_;
  RequestQueue& requests_;
  const RequestEnvelope& envelope_;
  SearchAdAttribution& searchAd_;
  InstallReport& installReport_;
  const JSONSerialization& json_;
  Locked<std::weak_ptr<MarluneTrackerClientDelegate>> trackerDelegate_;
};

}  // namespace fliprugair
