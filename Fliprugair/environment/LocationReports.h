#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string_view>

#include "Fliprugair/collaborators/Environment.h"
#include "Fliprugair/core/Context.h"
#include "Fliprugair/core/RequestEnvelope.h"
#include "Fliprugair/environment/DeviceFacts.h"
#include "Fliprugair/environment/SessionClock.h"
#include "Fliprugair/events/BatchQueue.h"

namespace fliprugair {

namespace key {

inline constexpr std::string_view lastLocationTime = "com.marlune.MarluneTracker.lastLocationTime";  // time of a fix

}  // namespace key

/// Positions: when one is due, and the record that it becomes.
class LocationReports {
 public:
  struct Shared {
    Locked<std::shared_ptr<MarluneLocationManager>> locMgr;  ///< the search in progress
    std::atomic<bool> reportLocation = false;                ///< the control host asked for positions
    std::atomic<std::int64_t> location_accuracy = 0;         ///< metres
    std::atomic<std::int64_t> location_timeout = 0;          ///< seconds
    std::atomic<std::int64_t> location_staleness = 0;        ///< minutes
  };

  LocationReports(Context& context, Shared& shared, BatchQueue& batch, const RequestEnvelope& envelope,
                  const SessionClock& clock, const DeviceFacts& facts, const Surroundings& surroundings,
                  Environment& environment)
      : context_(context),
        shared_(shared),
        batch_(batch),
        envelope_(envelope),
        clock_(clock),
        facts_(facts),
        surroundings_(surroundings),
        environment_(environment) {}

  bool locationServicesApproved() const;

  /// Begins a search when a fix is due. One at a time: a search ends with a fix alone, and without one no other is
  /// begun in this process.
  void checkReportLocation();

  /// A fix has arrived.
  void currentLocationUpdate(const Value& fix);

  /// Reporting is switched on by the control host and never off.
  void adoptSettings(std::int64_t accuracy, std::int64_t timeout, std::int64_t staleness);

  void dropSearch() { shared_.locMgr.store(nullptr); }
  void reset();
  void tearDown();

 private:
  Context& context_;
  Shared& shared_;
  BatchQueue& batch_;
  const RequestEnvelope& envelope_;
  const SessionClock& clock_;
  const DeviceFacts& facts_;
  const Surroundings& surroundings_;
  Environment& environment_;
};

}  // namespace fliprugair
