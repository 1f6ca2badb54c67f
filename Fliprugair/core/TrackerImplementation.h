#pragma once

#include <memory>

#include "Fliprugair/core/Callbacks.h"
#include "Fliprugair/core/Options.h"
#include "Fliprugair/core/ProcessState.h"

namespace fliprugair {

/// One tracker: its parts in the order in which they stand on one another, its start-up and its end. Whatever arrives
/// from outside enters through Context::perform.
class TrackerImplementation final : public Callbacks {
 public:
  /// Starts a tracker; null when the options do not say whose it is.
  static std::shared_ptr<TrackerImplementation> start(Environment& environment, const Value& options);

  /// Only start() makes one.
  explicit TrackerImplementation(Environment& environment);
  ~TrackerImplementation() override;
  TrackerImplementation(const TrackerImplementation&) = delete;
  TrackerImplementation& operator=(const TrackerImplementation&) = delete;

  void MarluneRetrieveAttribution(const Value& reply) override;
  void MarluneInitResult(const Value& reply) override;
  void MarluneInitialResult(const Value& reply) override;
  void iAdAttributionData(const Value& details, bool unknown) override;
  void currentLocationUpdate(const Value& fix) override;

 private:
  bool startUp(const Value& options);
  void resetProcessState();
  void storeDefaults(const Options& options);
  void initOrResumeAttribution(const Options& options);
  void tearDown();

  Platform& platform_;
  const std::shared_ptr<ProcessState> process_;
  bool started_ = false;

 public:
  Context context;
  SessionClock clock;
  Connectivity connectivity;
  Identity identity;
  RequestEnvelope envelope;
  DeviceFacts facts;
  RequestQueue requests;
  BatchQueue batch;
  EventRecords events;
  Sessions sessions;
  LocationReports location;
  OutsideServices services;
  WatchReports watch;
  PropertyUpdates properties;
  InstallData installData;
  SearchAdAttribution searchAd;
  InstallReport installReport;
  AttributionPoll attribution;
  InitRequest initRequest;
  ServerSettings settings;
  Handshake handshake;
  Lifecycle lifecycle;
};

}  // namespace fliprugair
