#pragma once

#include <memory>

#include "Fliprugair/attribution/AttributionPoll.h"
#include "Fliprugair/collaborators/Environment.h"
#include "Fliprugair/core/Context.h"
#include "Fliprugair/core/Lifecycle.h"
#include "Fliprugair/core/RequestEnvelope.h"
#include "Fliprugair/environment/DeviceFacts.h"
#include "Fliprugair/environment/LocationReports.h"
#include "Fliprugair/events/BatchQueue.h"
#include "Fliprugair/events/EventRecords.h"
#include "Fliprugair/events/RequestQueue.h"
#include "Fliprugair/handshake/Handshake.h"
#include "Fliprugair/install/InstallData.h"
#include "Fliprugair/install/SearchAdAttribution.h"

namespace fliprugair {

/// What all trackers of one process share; each construction resets most of it. Each class has the values that it works
/// with. Every access is atomic by itself, sequences of accesses are deliberately not.
struct ProcessState : Context::Shared,
                      RequestEnvelope::Shared,
                      DeviceFacts::Shared,
                      RequestQueue::Shared,
                      BatchQueue::Shared,
                      EventRecords::Shared,
                      LocationReports::Shared,
                      InstallData::Shared,
                      SearchAdAttribution::Shared,
                      AttributionPoll::Shared,
                      Handshake::Shared,
                      Lifecycle::Shared {
  /// Those of the process that `environment` is.
  static std::shared_ptr<ProcessState> of(Environment& environment) {
    return std::static_pointer_cast<ProcessState>(environment.shared([] { return std::make_shared<ProcessState>(); }));
  }
};

}  // namespace fliprugair
