#include "Fliprugair/events/BatchQueue.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "Fliprugair/core/Defaults.h"

namespace fliprugair {

namespace {

/// Many threads that record without a pause fill a batch while another one's is being sent. A control host need not
/// take one of thousands.
constexpr std::int64_t mostRecordsUnhurried = 4 * MAX_BATCH_QUEUE_ITEMS;

}  // namespace

void BatchQueue::appendBatchEvent(const Value& batchEvent) {
  if (context_.loggingEnabled()) {
    context_.log("-[MarluneTracker appendBatchEvent:]", 2051,
                 "Marlune library - appending: " + context_.described(batchEvent));
  }
  stopTrackerWaitTimer();
  UserDefaults& store = context_.store();
  std::int64_t batchQueueItems = 0;
  context_.update(key::batchEventQueue, [&](const Value& stored) {
    Array queue = stored.array();
    if (!batchEvent.isNull()) queue = queue.appending(batchEvent);
    batchQueueItems = static_cast<std::int64_t>(queue.size());
    return Value(std::move(queue));
  });
  store.synchronize();
  if (batchQueueItems < MAX_BATCH_QUEUE_ITEMS) {
    context_.postToMainQueue(
        [this] { armTrackerWaitTimer(static_cast<double>(context_.store().integerForKey(key::mltrackerWait))); });
  } else if (!flushWithTask(invalidBackgroundTask) && batchQueueItems > mostRecordsUnhurried) {
    // Another thread's flush is under way, and the next batch grows meanwhile.
    std::this_thread::sleep_for(std::chrono::milliseconds(1));  // in which the processor is that thread's
  }
  store.setInteger(clock_.now(), key::lastMLTrackerQueued);
  store.synchronize();
}

/// Main thread only. A timer that is still armed stays so: the stop that precedes every arming has its own task.
void BatchQueue::armTrackerWaitTimer(double seconds) {
  context_.arm(shared_.mlTrackerWaitTimer, seconds, "batchQueueTimerFired:", [this] { batchQueueTimerFired(); });
}

void BatchQueue::stopTrackerWaitTimer() {
  context_.postToMainQueue([this] { shared_.stopTimers(); });
}

void BatchQueue::batchQueueTimerFired() {
  stopTrackerWaitTimer();
  flushBatchQueue(false);
}

void BatchQueue::flushBatchQueue(bool isResignActive) {
  if (!isResignActive) {
    flushWithTask(invalidBackgroundTask);
    return;
  }
  // Shared with the expiration handler, which may run before this call knows the task.
  const auto task = std::make_shared<std::atomic<BackgroundTaskIdentifier>>(invalidBackgroundTask);
  *task = application_.beginBackgroundTask(
      "MarluneBackgroundFlush", [&application = application_, task] { application.endBackgroundTask(*task); });
  globalQueue_.async(
      [this, tracker = context_.owner().lock(), task] { context_.perform([&] { flushWithTask(*task); }); });
}

/// While a flush is under way, whatever thread it is on, another one waits for its turn without its caller waiting: it
/// finds what has been appended since, or nothing. Answers whether this was the one under way.
bool BatchQueue::flushWithTask(BackgroundTaskIdentifier task) {
  if (!shared_.flushes.begin(task)) return false;
  context_.guarded([&] { sendQueue(task); });
  while (const auto next = shared_.flushes.next()) {
    context_.guarded([&] {
      if (!isEmpty()) {
        sendQueue(*next);
      } else if (*next != invalidBackgroundTask) {
        application_.endBackgroundTask(*next);
      }
    });
  }
  return true;
}

/// The entry in the network queue is what survives a failure. What is appended while this runs stays for the next
/// flush.
void BatchQueue::sendQueue(BackgroundTaskIdentifier task) {
  const auto storedQueue = [&] {
    const auto queue = context_.store().arrayForKey(key::batchEventQueue);
    return queue ? Value(*queue) : Value();
  };
  const Value enqueued = storedQueue();
  const std::size_t count = enqueued.array().size();
  const auto again = [&] {
    const Value queue = storedQueue();
    return queue.array().size() == count ? queue : enqueued;
  };
  requests_.enqueueAndSend(enqueued, again, task);
  removeSent(count);
}

void BatchQueue::removeSent(std::size_t count) {
  context_.update(key::batchEventQueue, [&](const Value& stored) {
    const Array queue = stored.array();
    std::vector<Value> left;
    for (std::size_t index = count; index < queue.size(); ++index) left.push_back(queue[index]);
    return left.empty() ? Value() : Value(Array(std::move(left)));
  });
  context_.store().synchronize();
}

bool BatchQueue::isEmpty() const { return context_.store().objectForKey(key::batchEventQueue).array().empty(); }

void BatchQueue::catchUp() {
  if (isEmpty()) return;
  // Unsigned on purpose: a last append that lies in the future is flushed at once.
  const auto wait = static_cast<std::uint64_t>(context_.store().integerForKey(key::mltrackerWait));
  const std::uint64_t sinceLastAppend =
      clock_.now() - static_cast<std::uint64_t>(context_.store().integerForKey(key::lastMLTrackerQueued));
  if (sinceLastAppend > wait) {
    flushBatchQueue(false);
    return;
  }
  stopTrackerWaitTimer();
  context_.postToMainQueue([this, secondsRemaining = static_cast<double>(wait - sinceLastAppend)] {
    armTrackerWaitTimer(secondsRemaining);
  });
}

void BatchQueue::storeDefaults() {
  storeNumberIfAbsent(context_.store(), key::mltrackerWait, 60);
  storeNumberIfAbsent(context_.store(), key::lastMLTrackerQueued, 0);
}

}  // namespace fliprugair
