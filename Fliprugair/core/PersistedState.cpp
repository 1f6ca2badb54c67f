// What survives the process: its defaults, and the device identifier.

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/core/Options.h"
#include "Fliprugair/core/ProcessState.h"
#include "Fliprugair/core/StoredKeys.h"

namespace fliprugair {

void MarluneTracker::storeUserAgent() {
  const Value stored = store().objectForKey(key::userAgent);
  if (!stored.isNull() && stored != Value("")) return;
  Text userAgent;
  guarded([&] { userAgent = environment_.makeWebViewUserAgent()->userAgentString(); });
  store().setObject(userAgent.string(), key::userAgent);
}

/// Writes what is absent, in the order in which a new store lists it.
void MarluneTracker::storeDefaults(const Options& options) {
  const auto time = static_cast<std::int64_t>(now());
  storeDefaultText(key::appId, options.marluneAppId);
  storeDefaultText(key::currency, options.currency);
  storeDefault(key::sessionTracking, 1);
  storeDefault(key::firstInitReceived, false);
  storeDefault(key::sendInitial, true);
  for (const std::string_view position : {key::deviceLatitude, key::deviceLongitude}) {
    if (!store().objectForKey(position).isNull()) store().setObject("", position);
  }
  storeDefault(key::lastUpdateTime, time);
  storeDefault(key::lastPostTime, 0);
  storeDefault(key::timeAppBecameActive, time);
  storeDefault(key::idfaBlacklisted, false);
  storeDefault(key::idfvBlacklisted, false);
  storeDefault(key::initialIdentityLink, options.identityLink);
  storeDefault(key::mlinitWait, 60);
  storeDefault(key::lastMLInitSent, 0);
  storeDefault(key::mltrackerWait, 60);
  storeDefault(key::lastMLTrackerQueued, 0);
  storeDefault(key::iAdAttributionAttempts, 3);
  storeDefault(key::iAdAttributionWait, 20);
  storeDefault(key::iAdRetryWait, 10);
  storeDefault(key::sendIdUpdates, false);

  state().reportLocation = false;
  state().location_accuracy = 0;
  state().location_timeout = 0;
  state().location_staleness = 0;
  storeDefault(key::lastLocationTime, 0);
  store().setObject(options.limitAdTracking, key::app_limit_tracking);

  Value deviceId = getMarluneDeviceId();
  if (deviceId.text().empty()) deviceId = createDeviceId();
  storeDefault(key::origDeviceId, deviceId);
  storeDefault(key::deviceId, deviceId);

  // Whatever an earlier process was sending, this one is not.
  store().removeObject(key::eventsSending);
  store().synchronize();
}

void MarluneTracker::storeDefault(std::string_view key, const Value& value) {
  if (store().objectForKey(key).isNull()) store().setObject(value, key);
}

/// For text, "" counts as absent too.
void MarluneTracker::storeDefaultText(std::string_view key, const std::string& text) {
  const Value stored = store().objectForKey(key);
  if (stored.isNull() || stored == Value("")) store().setObject(text, key);
}

/// The stored identifier; "" when there is none or it is no text.
Value MarluneTracker::getMarluneDeviceId() const { return store().objectForKey(key::deviceId).text(); }

Value MarluneTracker::createDeviceId() const {
  std::string identifier = "MI" + platform().randomUUID();
  std::erase(identifier, '-');
  return identifier;
}

Value MarluneTracker::retrieveAttribution() const { return store().objectForKey(key::attribution); }

}  // namespace fliprugair
