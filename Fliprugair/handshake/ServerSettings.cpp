// The settings that the control host gives with its init reply: how each is read, clamped and kept.

#include <algorithm>
#include <array>

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/core/ProcessState.h"
#include "Fliprugair/core/StoredKeys.h"

namespace fliprugair {

namespace {

/// A setting of the wrong type counts as 0 and so becomes the least allowed. Text is read as 32 bits, a number as 64.
std::int64_t numericSetting(const Value& value) {
  if (value.isNumber()) return value.integerValue();
  return value.isText() ? integerOfText<std::int32_t>(value.text()) : 0;
}

struct NumericSetting {
  std::string_view name;
  std::string_view key;
  std::int64_t least;
  std::int64_t most;
};

constexpr std::int64_t oneWeekInSeconds = 604800;

constexpr std::array numericSettings{
    NumericSetting{"mlinit_wait", key::mlinitWait, 60, oneWeekInSeconds},
    NumericSetting{"mltracker_wait", key::mltrackerWait, 60, oneWeekInSeconds},
    NumericSetting{"iad_attribution_attempts", key::iAdAttributionAttempts, 1, 10},
    NumericSetting{"iad_attribution_wait", key::iAdAttributionWait, 1, 120},
    NumericSetting{"iad_retry_wait", key::iAdRetryWait, 1, 60},
};

/// Unlike the others, a location setting that is neither a number nor text keeps its default.
std::int64_t locationSetting(const Value& value, std::int64_t standard, std::int64_t least, std::int64_t most) {
  if (!value.isNumber() && !value.isText()) return standard;
  return std::clamp(numericSetting(value), least, most);
}

}  // namespace

void MarluneTracker::adoptSettings(const Dictionary& reply, const Dictionary& flags) {
  adoptIdentifiers(flags);
  for (const NumericSetting& setting : numericSettings) {
    const Value value = flags[setting.name];
    if (value.isNull()) continue;
    store().setObject(std::clamp(numericSetting(value), setting.least, setting.most), setting.key);
  }
  if (const Value value = flags["send_id_updates"]; !value.isNull()) {
    store().setObject(value.boolValue(), key::sendIdUpdates);
  }
  // Absent asks for the report again; present and false leaves things as they are.
  if (const Value resend = flags["resend_initial"]; resend.isNull() || resend.boolValue()) {
    store().setObject(true, key::sendInitial);
  }
  adoptLists(reply);
  adoptLocationSettings(reply, flags);
}

void MarluneTracker::adoptIdentifiers(const Dictionary& flags) {
  if (const Value appId = flags["marlune_app_id"]; !appId.text().empty()) store().setObject(appId, key::appId);
  const Value deviceId = flags["marlune_device_id"];
  if (deviceId.text().empty()) return;
  store().setObject(deviceId, key::deviceId);
  const Value first = store().objectForKey(key::origDeviceId);
  if (first.isNull() || first == Value("")) store().setObject(deviceId, key::origDeviceId);
}

void MarluneTracker::adoptLists(const Dictionary& reply) {
  if (const Value blacklist = reply["blacklist"]; blacklist.isArray()) {
    state().disabledDeviceTypes.store(blacklist);
    store().setObject(blacklist.array().containsText("idfv"), key::idfvBlacklisted);
    store().setObject(blacklist.array().containsText("idfa"), key::idfaBlacklisted);
  }
  if (const Value names = reply["eventname_blacklist"]; names.isArray()) {
    state().blacklistedEventNames.store(names);
    store().setObject(names, key::blacklistedEventNames);
  }
}

/// Reporting is switched on here and never off.
void MarluneTracker::adoptLocationSettings(const Dictionary& reply, const Dictionary& flags) {
  if (!reply["whitelist"].array().containsText("location")) return;
  state().reportLocation = true;
  state().location_accuracy = locationSetting(flags["location_accuracy"], 50, 10, 5000);
  state().location_timeout = locationSetting(flags["location_timeout"], 15, 3, 60);
  state().location_staleness = locationSetting(flags["location_staleness"], 15, 1, 10080);
}

void MarluneTracker::adoptCurrencyAndSessionTracking(const Dictionary& flags) {
  if (const Value currency = flags["currency"]; !currency.isNull()) store().setObject(currency, key::currency);
  const Value word = flags["session_tracking"];
  if (word.isNull()) return;
  const std::int64_t code = word == Value("full")   ? 1
                            : word == Value("none") ? 2
                                                    : store().integerForKey(key::sessionTracking);
  store().setObject(code, key::sessionTracking);
}

void MarluneTracker::adoptAttributionWait(const Dictionary& flags) {
  const Value wait = flags["getattribution_wait"];
  const std::int64_t seconds = wait.isNull() ? 7 : std::clamp<std::int64_t>(numericSetting(wait), 1, 30);
  store().setObject(seconds, key::attributionWait);
  store().synchronize();
}

}  // namespace fliprugair
