#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "Fliprugair/platform/MainQueue.h"
#include "platform/linux/StoredReports.h"

namespace fliprugair {

/// Waits on the main thread until the trackers' reports are confirmed and no reply is on its way that may ask for more,
/// and has the records flushed meanwhile as soon as that is possible, once. The store tells nobody of its changes, so
/// it looks again and again. Its timers hold it. Main thread only.
class SentWatch : public std::enable_shared_from_this<SentWatch> {
 public:
  struct Actions {
    std::function<bool()> isIdle;  ///< whether no request is under way
    std::function<void()> flush;   ///< makes the trackers send their records
    std::function<void()> done;    ///< called once, when all is confirmed or the time is over
  };

  /// The actions run inside look().
  SentWatch(const UserDefaults& store, MainQueue& mainQueue, std::chrono::steady_clock::time_point deadline,
            Actions actions)
      : reports_(store), mainQueue_(mainQueue), deadline_(deadline), actions_(std::move(actions)) {}

  void look() {
    if (!flushed_ && reports_.areReadyToFlush()) {
      flushed_ = true;
      actions_.flush();
    }
    // In this order: what a reply has asked for is stored before it counts as dealt with.
    const bool isOver = actions_.isIdle() && reports_.areAllConfirmed();
    if (isOver || std::chrono::steady_clock::now() >= deadline_) {
      actions_.done();
      return;
    }
    mainQueue_.scheduleTimer(secondsBetweenLooks, "waitUntilSent", [self = shared_from_this()] { self->look(); });
  }

 private:
  static constexpr double secondsBetweenLooks = 0.01;

  const StoredReports reports_;
  MainQueue& mainQueue_;
  const std::chrono::steady_clock::time_point deadline_;
  const Actions actions_;
  bool flushed_ = false;
};

}  // namespace fliprugair
