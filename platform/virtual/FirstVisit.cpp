#include "platform/virtual/FirstVisit.h"

#include "Fliprugair/platform/Text.h"
#include "platform/PairList.h"
#include "platform/WholeSeconds.h"

namespace fliprugair {

namespace {

constexpr std::string_view identifier = "MI0123456789ABCDEF0123456789ABCDEF";
/// Below this system version a device is not asked whether tracking is limited.
constexpr float firstVersionWithTrackingLimit = 6;

Dictionary reportedProperties(const VirtualDevice& device) {
  const VirtualFacts& facts = device.facts;
  const auto flag = [](bool on) { return on ? "1" : "0"; };
  const auto bundleText = [&](std::string_view name) {
    const auto found = facts.bundle.find(name);
    return found == facts.bundle.end() ? std::string() : found->second;
  };
  const Value limitsInApp = device.store.objectForKey("com.marlune.MarluneTracker.app_limit_tracking");
  const bool limitsOnDevice =
      !facts.adTrackingEnabled && floatOfText(facts.systemVersion) >= firstVersionWithTrackingLimit;
  return PairList()
      .add("app_limit_tracking", flag(limitsInApp.boolValue()))
      .add("app_short_string", bundleText("CFBundleShortVersionString"))
      .add("app_version", bundleText("CFBundleVersion"))
      .add("device_limit_tracking", flag(limitsOnDevice))
      .add("is_genuine", flag(true))
      .add("language", facts.languages.empty() ? std::string() : facts.languages.front())
      .add("os_version", facts.systemName + " " + facts.systemVersion)
      .dictionary();
}

}  // namespace

void storeFirstVisit(VirtualDevice& device) {
  const auto set = [&](std::string_view name, const Value& value) {
    device.store.setObject(value, "com.marlune.MarluneTracker." + std::string(name));
  };
  const Dictionary properties = reportedProperties(device);
  set("deviceId", identifier);
  set("origDeviceId", identifier);
  set("userAgent", device.facts.userAgent.value());
  set("sendInitial", false);
  set("firstInitReceived", true);
  set("lastMLInitSent", static_cast<std::int64_t>(wholeSeconds(device.now())));
  set("watchProperties", properties);
  if (properties["device_limit_tracking"] == Value("1")) set("device_limit_tracking", true);
}

}  // namespace fliprugair
