#pragma once

#include <cstdint>
#include <string_view>

#include "Fliprugair/core/Context.h"
#include "Fliprugair/core/RequestEnvelope.h"
#include "Fliprugair/environment/SessionClock.h"
#include "Fliprugair/events/BatchQueue.h"

namespace fliprugair {

namespace key {

inline constexpr std::string_view sessionTracking = "com.marlune.MarluneTracker.sessionTracking";  // integer code

}  // namespace key

/// The application's sessions: whether they are reported, and the records of their begin and end.
class Sessions {
 public:
  Sessions(Context& context, BatchQueue& batch, const RequestEnvelope& envelope, SessionClock& clock)
      : store_(context.store()), json_(context.json()), batch_(batch), envelope_(envelope), clock_(clock) {}

  /// `state` is "resume" or "pause".
  void sessionEvent(std::string_view state);

  bool areTracked() const;
  /// "full", "none", or "" for a code that means neither.
  std::string_view trackingWord() const;
  /// What is neither "full" nor "none" leaves the code as it is; null stores nothing.
  void adoptTracking(const Value& word);
  void storeDefaults();

 private:
  UserDefaults& store_;
  const JSONSerialization& json_;
  BatchQueue& batch_;
  const RequestEnvelope& envelope_;
  SessionClock& clock_;
};

}  // namespace fliprugair
