#pragma once

#include <cstdint>
#include <string_view>

#include "Fliprugair/core/Context.h"
#include "Fliprugair/core/TimerReference.h"
#include "Fliprugair/environment/SessionClock.h"
#include "Fliprugair/events/RequestQueue.h"
#include "Fliprugair/events/Turns.h"

namespace fliprugair {

namespace key {

inline constexpr std::string_view batchEventQueue = "com.marlune.marluneTracker.batchEventQueue";  // array of records
// integer, seconds from the last record to a flush; time of the last record
inline constexpr std::string_view mltrackerWait = "com.marlune.MarluneTracker.mltrackerWait";
inline constexpr std::string_view lastMLTrackerQueued = "com.marlune.MarluneTracker.lastMLTrackerQueued";

}  // namespace key

/// A batch queue of this many records is flushed.
inline constexpr std::int64_t MAX_BATCH_QUEUE_ITEMS = 25;

/// The persisted queue of small records. It leaves as one request when it is long enough, when it has been quiet for
/// the wait that the control host set, at an activation after that wait, or when the application resigns.
class BatchQueue {
 public:
  struct Shared {
    TimerReference mlTrackerWaitTimer;
    Turns<BackgroundTaskIdentifier> flushes;  ///< one at a time, so that each record leaves once

    void stopTimers() { stop(mlTrackerWaitTimer); }
  };

  BatchQueue(Context& context, Shared& shared, RequestQueue& requests, const SessionClock& clock,
             Application& application, GlobalQueue& globalQueue)
      : context_(context),
        shared_(shared),
        requests_(requests),
        clock_(clock),
        application_(application),
        globalQueue_(globalQueue) {}

  /// The wait starts anew with each record: a flush happens once the queue has been quiet for its whole length.
  void appendBatchEvent(const Value& batchEvent);
  void flushBatchQueue(bool isResignActive);
  void stopTrackerWaitTimer();

  /// At an activation: flushes when the wait is over, else waits for the rest of it.
  void catchUp();
  bool isEmpty() const;

  void adoptWait(std::int64_t seconds) { context_.store().setInteger(seconds, key::mltrackerWait); }

  void storeDefaults();
  void reset() { shared_.mlTrackerWaitTimer.store(nullptr); }

 private:
  void batchQueueTimerFired();
  void armTrackerWaitTimer(double seconds);
  bool flushWithTask(BackgroundTaskIdentifier task);
  void sendQueue(BackgroundTaskIdentifier task);
  void removeSent(std::size_t count);

  Context& context_;
  Shared& shared_;
  RequestQueue& requests_;
  const SessionClock& clock_;
  Application& application_;
  GlobalQueue& globalQueue_;
};

}  // namespace fliprugair
