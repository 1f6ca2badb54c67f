#include "Fliprugair/core/Sessions.h"

#include "Fliprugair/core/Defaults.h"

namespace fliprugair {

namespace {

constexpr std::int64_t full = 1;
constexpr std::int64_t none = 2;

}  // namespace

void Sessions::sessionEvent(std::string_view state) {
  PairText sessionData(json_);
  sessionData.add("state", state).addSigned("usertime", clock_.now()).addSigned("uptime", clock_.uptime());
  clock_.addUptimeDeltaAndLastPostTime(sessionData);
  batch_.appendBatchEvent(envelope_.request("session", RequestEnvelope::Form::full, sessionData));
}

bool Sessions::areTracked() const { return store_.integerForKey(key::sessionTracking) == full; }

std::string_view Sessions::trackingWord() const {
  switch (store_.integerForKey(key::sessionTracking)) {
    case full:
      return "full";
    case none:
      return "none";
    default:
      return "";
  }
}

void Sessions::adoptTracking(const Value& word) {
  if (word.isNull()) return;
  std::int64_t code = store_.integerForKey(key::sessionTracking);
  if (word == Value("full")) code = full;
  if (word == Value("none")) code = none;
  store_.setInteger(code, key::sessionTracking);
}

void Sessions::storeDefaults() { storeNumberIfAbsent(store_, key::sessionTracking, full); }

}  // namespace fliprugair
