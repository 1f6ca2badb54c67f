#include "Fliprugair/environment/SessionClock.h"

#include "Fliprugair/core/Defaults.h"
#include "Fliprugair/platform/Text.h"
#include "platform/WholeSeconds.h"

namespace fliprugair {

std::uint64_t SessionClock::now() const { return wholeSeconds(context_.secondsSince1970()); }

std::string SessionClock::currentLocalTime() const { return signedText(now()); }

std::uint64_t SessionClock::uptime() const {
  return now() - static_cast<std::uint64_t>(context_.store().integerForKey(key::timeAppBecameActive));
}

std::string SessionClock::returnAndSetUptimeDelta() { return signedText(static_cast<std::uint64_t>(setUptimeDelta())); }

std::int64_t SessionClock::setUptimeDelta() {
  std::uint64_t delta = 0;
  // In one step, the reading of the clock included: of several threads each second is reported once.
  context_.update(key::lastUpdateTime, [&](const Value& last) {
    const std::uint64_t time = now();
    delta = time - static_cast<std::uint64_t>(last.integerValue());
    return Value(static_cast<std::int64_t>(time));
  });
  context_.store().synchronize();
  return static_cast<std::int64_t>(delta);
}

void SessionClock::addUptimeDeltaAndLastPostTime(PairText& data) {
  const std::int64_t delta = setUptimeDelta();
  if (delta > 0) data.set("updelta", signedText(static_cast<std::uint64_t>(delta)));
  const Value lastPostTime = context_.store().objectForKey(key::lastPostTime);
  if (lastPostTime.integerValue() > 0) data.set("last_post_time", lastPostTime);
}

void SessionClock::noteActivation() {
  context_.store().setInteger(now(), key::timeAppBecameActive);
  context_.store().synchronize();
}

void SessionClock::storeDefaults() {
  const auto time = static_cast<std::int64_t>(now());
  storeNumberIfAbsent(context_.store(), key::lastUpdateTime, time);
  storeNumberIfAbsent(context_.store(), key::lastPostTime, 0);
  storeNumberIfAbsent(context_.store(), key::timeAppBecameActive, time);
}

}  // namespace fliprugair
