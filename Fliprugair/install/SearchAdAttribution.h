#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string_view>

#include "Fliprugair/collaborators/Environment.h"
#include "Fliprugair/core/Context.h"
#include "Fliprugair/core/RequestEnvelope.h"
#include "Fliprugair/core/TimerReference.h"
#include "Fliprugair/environment/DeviceFacts.h"

namespace fliprugair {

namespace key {

inline constexpr std::string_view iAdAttributionAttempts =
    "com.marlune.MarluneTracker.iAdAttributionAttempts";  // integer: answers at most
inline constexpr std::string_view iAdAttributionWait =
    "com.marlune.MarluneTracker.iAdAttributionWait";  // integer, seconds for one retry
inline constexpr std::string_view iAdRetryWait =
    "com.marlune.MarluneTracker.iAdRetryWait";  // integer, seconds before a retry
inline constexpr std::string_view iAdAttribution_INITIAL_PASSTHROUGH =
    "com.marlune.MarluneTracker.iAdAttribution_INITIAL_PASSTHROUGH";  // dictionary: install data waiting for the answer
inline constexpr std::string_view initialPayload =
    "com.marlune.MarluneTracker.initialPayload";  // dictionary: the finished install request, parked

}  // namespace key

/// The search-ad answer that the install report waits for: asking, asking again while the platform does not know it
/// yet, and parking the finished request, once, whatever answers and time-outs still come.
class SearchAdAttribution {
 public:
  struct Shared {
    std::atomic<std::int32_t> iAdAttributionAttempts = 0;  ///< answers counted in this process
    std::atomic<bool> triggerRetryiAdRetrieval = false;    ///< a retry is due
    std::atomic<bool> iAdDelegateProcessed = false;        ///< the answer has been merged
    TimerReference retryiAdAttributionTimer;
    TimerReference iAdAttributionPayloadTimer;

    void stopTimers() {
      stop(retryiAdAttributionTimer);
      stop(iAdAttributionPayloadTimer);
    }
  };

  SearchAdAttribution(Context& context, Shared& shared, const RequestEnvelope& envelope, DeviceFacts& facts,
                      Environment& environment)
      : context_(context), shared_(shared), envelope_(envelope), facts_(facts), environment_(environment) {}

  /// Keeps the report's data and asks for the answer that belongs to it.
  void ask(const Dictionary& data, const Dictionary& watched);
  /// An answer, or none in time.
  void iAdAttributionData(const Value& details, bool unknown);
  /// Arms the timer of a retry that is due.
  void armRetryIfDue();

  /// The finished install request; null while there is none.
  Value parkedRequest() const { return context_.store().objectForKey(key::initialPayload); }
  void removeParkedRequest();

  // A property of the tracker.
  std::shared_ptr<MarluneRetrieveiAdAttribution> manager() const { return manager_.load(); }
  void setManager(std::shared_ptr<MarluneRetrieveiAdAttribution> manager) { manager_.store(std::move(manager)); }

  // What the control host allows.
  void adoptAttempts(std::int64_t most) { context_.store().setInteger(most, key::iAdAttributionAttempts); }
  void adoptWait(std::int64_t seconds) { context_.store().setInteger(seconds, key::iAdAttributionWait); }
  void adoptRetryWait(std::int64_t seconds) { context_.store().setInteger(seconds, key::iAdRetryWait); }

  void storeDefaults();
  void reset();
  /// Stops the timers of this process, whoever armed them.
  void tearDown(MainQueue& mainQueue, std::shared_ptr<Shared> shared);

 private:
  bool isFinal(bool unknown);
  void park(const Value& details);
  void retryiAdAttribution();
  void iAdAttributionPayloadTimeout();

  Context& context_;
  Shared& shared_;
  const RequestEnvelope& envelope_;
  DeviceFacts& facts_;
  Environment& environment_;
  Locked<std::shared_ptr<MarluneRetrieveiAdAttribution>> manager_;
  std::mutex monitor_;  ///< the tracker's own lock, around the counters
};

}  // namespace fliprugair
