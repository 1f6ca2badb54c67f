#include "Fliprugair/handshake/ServerSettings.h"

#include <algorithm>
#include <optional>

#include "Fliprugair/core/Defaults.h"

namespace fliprugair {

namespace {

/// A setting of the wrong type counts as 0 and so becomes the least allowed. Text is read as 32 bits, a number as 64.
std::int64_t numericSetting(const Value& value) {
  if (value.isNumber()) return value.integerValue();
  return value.isText() ? integerOfText<std::int32_t>(value.text()) : 0;
}

constexpr std::int64_t oneWeekInSeconds = 604800;

/// Unlike the others, a location setting that is neither a number nor text keeps its default.
std::int64_t locationSetting(const Value& value, std::int64_t standard, std::int64_t least, std::int64_t most) {
  if (!value.isNumber() && !value.isText()) return standard;
  return std::clamp(numericSetting(value), least, most);
}

}  // namespace

void ServerSettings::adopt(const Dictionary& reply, const Dictionary& flags) {
  identity_.adoptAppId(flags["marlune_app_id"]);
  identity_.adoptDeviceId(flags["marlune_device_id"]);
  adoptNumbers(flags);
  properties_.adoptIdUpdates(flags["send_id_updates"]);
  // Absent asks for the report again; present and false leaves things as they are.
  if (const Value resend = flags["resend_initial"]; resend.isNull() || resend.boolValue()) installReport_.makeDue();
  facts_.adoptBlacklist(reply["blacklist"]);
  events_.adoptBlacklist(reply["eventname_blacklist"]);
  adoptLocation(reply, flags);
}

/// One that is absent leaves things as they are.
void ServerSettings::adoptNumbers(const Dictionary& flags) {
  const auto given = [&](std::string_view name, std::int64_t least, std::int64_t most) -> std::optional<std::int64_t> {
    const Value value = flags[name];
    if (value.isNull()) return std::nullopt;
    return std::clamp(numericSetting(value), least, most);
  };
  if (const auto wait = given("mlinit_wait", 60, oneWeekInSeconds)) context_.store().setInteger(*wait, key::mlinitWait);
  if (const auto wait = given("mltracker_wait", 60, oneWeekInSeconds)) batch_.adoptWait(*wait);
  if (const auto most = given("iad_attribution_attempts", 1, 10)) searchAd_.adoptAttempts(*most);
  if (const auto wait = given("iad_attribution_wait", 1, 120)) searchAd_.adoptWait(*wait);
  if (const auto wait = given("iad_retry_wait", 1, 60)) searchAd_.adoptRetryWait(*wait);
}

void ServerSettings::adoptLocation(const Dictionary& reply, const Dictionary& flags) {
  if (!reply["whitelist"].array().containsText("location")) return;
  location_.adoptSettings(locationSetting(flags["location_accuracy"], 50, 10, 5000),
                          locationSetting(flags["location_timeout"], 15, 3, 60),
                          locationSetting(flags["location_staleness"], 15, 1, 10080));
}

void ServerSettings::adoptAttributionWait(const Dictionary& flags) {
  const Value wait = flags["getattribution_wait"];
  attribution_.adoptWait(wait.isNull() ? 7 : std::clamp<std::int64_t>(numericSetting(wait), 1, 30));
}

void ServerSettings::storeDefaults() { storeNumberIfAbsent(context_.store(), key::mlinitWait, 60); }

}  // namespace fliprugair
