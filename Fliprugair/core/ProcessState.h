#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "Fliprugair/collaborators/MarluneLocationManager.h"
#include "Fliprugair/platform/Locked.h"
#include "Fliprugair/platform/MainQueue.h"
#include "Fliprugair/platform/Value.h"

namespace fliprugair {

/// A batch queue of this many records is flushed.
inline constexpr std::int64_t MAX_BATCH_QUEUE_ITEMS = 25;

/// What all trackers of one process share; each construction resets most of it. Every access is atomic by itself,
/// sequences of accesses are deliberately not.
struct ProcessState {
  using TimerReference = Locked<std::shared_ptr<Timer>>;

  std::atomic<bool> _loggingEnabled = false;
  std::atomic<bool> _isNewUser = false;                    ///< the host app's statement that this is a new user
  std::atomic<bool> skipBecameActive = false;              ///< the next activation ends after its first half
  Locked<Value> trackerHostname;                           ///< text; every request goes to this host
  Locked<Value> sdkVersion;                                ///< text; the version reported as "sdk_version"
  Locked<Value> disabledDeviceTypes;                       ///< array: device properties that the control host forbids
  Locked<Value> blacklistedEventNames;                     ///< array: event titles that the control host forbids
  std::atomic<std::int32_t> iAdAttributionAttempts = 0;    ///< search-ad answers counted in this process
  Locked<std::shared_ptr<MarluneLocationManager>> locMgr;  ///< the search in progress
  std::atomic<std::int32_t> rcascadeTimerDelay = 0;        ///< seconds; the current back-off of the init request
  TimerReference rcascadeTimer;
  TimerReference marluneAttributionCheckTimer;
  TimerReference marluneAttributionTimer;
  TimerReference retryiAdAttributionTimer;
  TimerReference iAdAttributionPayloadTimer;
  std::atomic<bool> triggerRetryiAdRetrieval = false;  ///< a search-ad retry is due
  std::atomic<bool> iAdDelegateProcessed = false;      ///< the search-ad answer has been merged
  TimerReference mlTrackerWaitTimer;
  std::atomic<bool> reportLocation = false;          ///< the control host asked for positions
  std::atomic<std::int64_t> location_accuracy = 0;   ///< metres
  std::atomic<std::int64_t> location_timeout = 0;    ///< seconds
  std::atomic<std::int64_t> location_staleness = 0;  ///< minutes
};

}  // namespace fliprugair
