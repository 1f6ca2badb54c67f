// The persisted queue of small records, its wait timer, and the flush.

#include <atomic>
#include <memory>

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/core/ProcessState.h"
#include "Fliprugair/core/StoredKeys.h"

namespace fliprugair {

/// The wait always starts anew: a flush happens once the queue has been quiet for its whole length.
void MarluneTracker::appendBatchEvent(const Value& batchEvent) {
  if (loggingEnabled()) {
    log("-[MarluneTracker appendBatchEvent:]", 2051, "Marlune library - appending: " + described(batchEvent));
  }
  stopTrackerWaitTimer();
  Array batchEventArray = store().arrayForKey(key::batchEventQueue).value_or(Array());
  if (!batchEvent.isNull()) batchEventArray = batchEventArray.appending(batchEvent);
  store().setObject(batchEventArray, key::batchEventQueue);
  store().synchronize();
  if (static_cast<std::int64_t>(batchEventArray.size()) < MAX_BATCH_QUEUE_ITEMS) {
    postToMainQueue([](MarluneTracker& self) {
      self.armTrackerWaitTimer(static_cast<double>(self.store().integerForKey(key::mltrackerWait)));
    });
  } else {
    flushBatchQueue(false);
  }
  store().setInteger(now(), key::lastMLTrackerQueued);
  store().synchronize();
}

/// Main thread only. A timer that is still armed stays so: the stop that precedes every arming has its own task.
void MarluneTracker::armTrackerWaitTimer(double seconds) {
  state().mlTrackerWaitTimer.store(schedule(seconds, "batchQueueTimerFired:", &MarluneTracker::batchQueueTimerFired));
}

void MarluneTracker::stopTrackerWaitTimer() {
  postToMainQueue([](MarluneTracker& self) {
    if (const auto timer = self.state().mlTrackerWaitTimer.exchange(nullptr)) timer->invalidate();
  });
}

void MarluneTracker::batchQueueTimerFired() {
  stopTrackerWaitTimer();
  flushBatchQueue(false);
}

void MarluneTracker::flushBatchQueue(bool isResignActive) {
  if (!isResignActive) {
    flushBatchQueueWithTask(invalidBackgroundTask);
    return;
  }
  // Shared with the expiration handler, which may run before this call knows the task.
  const auto task = std::make_shared<std::atomic<BackgroundTaskIdentifier>>(invalidBackgroundTask);
  Application& application = platform().application();
  *task = application.beginBackgroundTask("MarluneBackgroundFlush",
                                          [&application, task] { application.endBackgroundTask(*task); });
  platform().globalQueue().async(
      [self = shared_from_this(), task] { self->guarded([&] { self->flushBatchQueueWithTask(*task); }); });
}

/// Reads the queue once to enqueue it and once to send it: what is appended in between is sent, and then cleared with
/// the rest, deliberately. The entry in the network queue is what survives a failure.
void MarluneTracker::flushBatchQueueWithTask(BackgroundTaskIdentifier task) {
  const auto storedQueue = [this] {
    const auto queue = store().arrayForKey(key::batchEventQueue);
    return queue ? Value(*queue) : Value();
  };
  const std::string trackingEventTimestamp = enqueueMarluneEvent(storedQueue());
  send(storedQueue(), trackingEventTimestamp, Replies::delivered, task);
  store().removeObject(key::batchEventQueue);
  store().synchronize();
}

/// What an activation does for the queues.
void MarluneTracker::sendQueueEvents() {
  resendQueuedRequests();
  catchUpOnBatchQueue();
}

void MarluneTracker::catchUpOnBatchQueue() {
  const auto queue = store().arrayForKey(key::batchEventQueue);
  if (!queue || queue->empty()) return;
  // Unsigned on purpose: a last append that lies in the future is flushed at once.
  const auto wait = static_cast<std::uint64_t>(store().integerForKey(key::mltrackerWait));
  const std::uint64_t sinceLastAppend =
      now() - static_cast<std::uint64_t>(store().integerForKey(key::lastMLTrackerQueued));
  if (sinceLastAppend > wait) {
    flushBatchQueue(false);
    return;
  }
  stopTrackerWaitTimer();
  postToMainQueue([secondsRemaining = static_cast<double>(wait - sinceLastAppend)](MarluneTracker& self) {
    self.armTrackerWaitTimer(secondsRemaining);
  });
}

}  // namespace fliprugair
