#include "Fliprugair/environment/DeviceFacts.h"

#include "Fliprugair/core/Defaults.h"
#include "Fliprugair/platform/Text.h"
#include "platform/Joined.h"
#include "platform/TextOrEmpty.h"

namespace fliprugair {

float DeviceFacts::systemVersion() const { return floatOfText(device_.systemVersion()); }

Value DeviceFacts::systemNameAndVersion() const { return joined({device_.systemName(), " ", device_.systemVersion()}); }

Value DeviceFacts::bundleText(std::string_view key) const { return textOrEmpty(bundle_.infoEntry(key)); }

Value DeviceFacts::preferredLanguage() const {
  const auto languages = device_.preferredLanguages();
  return languages.empty() ? "" : std::string_view(languages.front());
}

Value DeviceFacts::vendorIdentifier() const { return textOrEmpty(Text(device_.identifierForVendor()).value()); }

Value DeviceFacts::reportedAdvertisingIdentifier() const { return textOrEmpty(advertisingIdentifier()); }

Value DeviceFacts::digitText(bool flag) { return flag ? "1" : "0"; }

bool DeviceFacts::appVersionChanged() const {
  const Dictionary reported = reportedProperties();
  if (reported["app_short_string"] != bundleText("CFBundleShortVersionString")) return true;
  const Value version = bundleVersion();
  return !version.isText() || reported["app_version"] != version;
}

Value DeviceFacts::advertisingIdentifier() const { return Text(device_.advertisingIdentifier()).value(); }

bool DeviceFacts::isDisabled(std::string_view deviceType) const {
  return shared_.disabledDeviceTypes.load().array().containsText(deviceType);
}

void DeviceFacts::adoptBlacklist(const Value& blacklist) {
  if (!blacklist.isArray()) return;
  shared_.disabledDeviceTypes.store(blacklist);
  store_.setBool(blacklist.array().containsText("idfv"), key::idfvBlacklisted);
  store_.setBool(blacklist.array().containsText("idfa"), key::idfaBlacklisted);
}

void DeviceFacts::storeDefaults() {
  storeBoolIfAbsent(store_, key::idfaBlacklisted, false);
  storeBoolIfAbsent(store_, key::idfvBlacklisted, false);
}

}  // namespace fliprugair
