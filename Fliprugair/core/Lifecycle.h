#pragma once

#include <atomic>

#include "Fliprugair/core/Context.h"
#include "Fliprugair/core/Sessions.h"
#include "Fliprugair/environment/LocationReports.h"
#include "Fliprugair/events/BatchQueue.h"
#include "Fliprugair/events/RequestQueue.h"
#include "Fliprugair/install/InstallReport.h"
#include "Fliprugair/install/PropertyUpdates.h"

namespace fliprugair {

/// The reaction to the application's notifications.
class Lifecycle {
 public:
  struct Shared {
    std::atomic<bool> skipBecameActive = false;  ///< the next activation ends after its first half
  };

  Lifecycle(Context& context, Shared& shared, SessionClock& clock, Sessions& sessions, BatchQueue& batch,
            RequestQueue& requests, PropertyUpdates& properties, LocationReports& location,
            const InstallReport& installReport)
      : context_(context),
        shared_(shared),
        clock_(clock),
        sessions_(sessions),
        batch_(batch),
        requests_(requests),
        properties_(properties),
        location_(location),
        installReport_(installReport) {}

  void subscribe(NotificationCenter& center);
  void unsubscribe(NotificationCenter& center);
  void reset() { shared_.skipBecameActive = false; }

  /// What an activation does for the queues.
  void sendQueueEvents();

 private:
  void appDidLaunch();
  void appDidBecomeActive();
  void appWillResignActive();
  void appWillTerminate();

  Context& context_;
  Shared& shared_;
  SessionClock& clock_;
  Sessions& sessions_;
  BatchQueue& batch_;
  RequestQueue& requests_;
  PropertyUpdates& properties_;
  LocationReports& location_;
  const InstallReport& installReport_;
};

}  // namespace fliprugair
