#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>

#include "Fliprugair/attribution/AttributionPoll.h"
#include "Fliprugair/core/Context.h"
#include "Fliprugair/core/TimerReference.h"
#include "Fliprugair/environment/LocationReports.h"
#include "Fliprugair/handshake/InitRequest.h"
#include "Fliprugair/handshake/ServerSettings.h"
#include "Fliprugair/install/InstallReport.h"
#include "Fliprugair/install/OutsideServices.h"
#include "Fliprugair/install/PropertyUpdates.h"

namespace fliprugair {

namespace key {

inline constexpr std::string_view lastMLInitSent =
    "com.marlune.MarluneTracker.lastMLInitSent";  // time of the last init reply

}  // namespace key

/// The exchange that begins a visit: whether an init request is due, what its reply sets in motion, and the back-off
/// that a reply may ask for.
class Handshake {
 public:
  struct Shared {
    std::atomic<std::int32_t> rcascadeTimerDelay = 0;  ///< seconds; the current back-off of the init request
    TimerReference rcascadeTimer;

    void stopTimers() { stop(rcascadeTimer); }
  };

  Handshake(Context& context, Shared& shared, const SessionClock& clock, RequestQueue& requests, Identity& identity,
            Sessions& sessions, InitRequest& initRequest, ServerSettings& settings, LocationReports& location,
            OutsideServices& services, InstallReport& installReport, PropertyUpdates& properties,
            AttributionPoll& attribution)
      : context_(context),
        shared_(shared),
        clock_(clock),
        requests_(requests),
        identity_(identity),
        sessions_(sessions),
        initRequest_(initRequest),
        settings_(settings),
        location_(location),
        services_(services),
        installReport_(installReport),
        properties_(properties),
        attribution_(attribution) {}

  /// Whether so much time has passed since the last reply that the settings are asked for anew.
  bool isDue() const;
  void MarluneInitResult(const Value& reply);

  void storeDefaults();
  void reset();

 private:
  bool backOff(const Dictionary& reply);
  void rcascadeTimerFired();
  void startAttributionCheck();

  Context& context_;
  Shared& shared_;
  const SessionClock& clock_;
  RequestQueue& requests_;
  Identity& identity_;
  Sessions& sessions_;
  InitRequest& initRequest_;
  ServerSettings& settings_;
  LocationReports& location_;
  OutsideServices& services_;
  InstallReport& installReport_;
  PropertyUpdates& properties_;
  AttributionPoll& attribution_;
};

}  // namespace fliprugair
