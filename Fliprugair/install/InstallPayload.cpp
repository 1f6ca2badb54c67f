// The install report: what it says about device and application, and how it is handed over.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <exception>

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/core/ProcessState.h"
#include "Fliprugair/core/StoredKeys.h"
#include "platform/PairList.h"

namespace fliprugair {

namespace {

constexpr std::string_view initialMethod = "-[MarluneTracker initialEvent]";
// The version text 7.1 lies just below 7.1 in single precision and still qualifies.
constexpr double searchAdSystemVersion = 7.0999;
// Compared with the version rounded down, so that everything below 1048 is excluded.
constexpr double lastFoundationWithoutReceipt = 1047.2;

/// Truncated to 32 bits, as the number of pixels is reported.
std::string pixelText(double pixels) {
  const std::int64_t whole = Value(pixels).integerValue();
  return std::to_string(std::clamp<std::int64_t>(whole, INT32_MIN, INT32_MAX));
}

}  // namespace

void MarluneTracker::initialEvent() {
  bool deviceLimitsTracking = false;
  const Dictionary data = installData(deviceLimitsTracking);
  const Dictionary watched = watchDictionary(deviceLimitsTracking);
  if (systemVersion() >= searchAdSystemVersion) {
    askForSearchAdAttribution(data, watched);
    return;
  }
  const Dictionary request = installRequest(data);
  store().setObject(watched, key::watchProperties);
  store().setObject(false, key::sendInitial);
  store().synchronize();
  enqueueAndSend(request);
}

void MarluneTracker::askForSearchAdAttribution(const Dictionary& data, const Dictionary& watched) {
  store().setObject(PairList().add("initialData", data).add("watchDictionary", watched).dictionary(),
                    key::iAdAttribution_INITIAL_PASSTHROUGH);
  store().synchronize();
  state().iAdDelegateProcessed = false;
  guarded([&] {
    const auto manager = environment_.makeRetrieveiAdAttribution();
    setIAdAttributionManager(manager);
    manager->setIAdAttributionDelegate(weak_from_this());
    manager->retrieveiAdAttribution(loggingEnabled());
  });
}

Dictionary MarluneTracker::installRequest(const Value& data) const {
  return PairList()
      .add("marlune_device_id", store().objectForKey(key::deviceId))
      .add("marlune_app_id", store().objectForKey(key::appId))
      .add("action", "initial")
      .add("data", data)
      .add("sdk_version", state().sdkVersion.load())
      .add("sdk_protocol", "4")
      .dictionary();
}

/// Always YES: there is no test behind it.
bool MarluneTracker::isOSGenuine() const { return true; }

bool MarluneTracker::UIInterfaceOrientationIsLandscape(int orientation) { return orientation == 4 || orientation == 3; }

Dictionary MarluneTracker::installData(bool& deviceLimitsTracking) {
  // A pasteboard without text is nothing, one that does not exist is "".
  const auto pasteboard = platform().surroundings().pasteboard("fb_app_attribution");
  const Value pasteboardText = pasteboard ? pasteboard->text : Value("");
  Text hardware;
  guarded([&] { hardware = environment_.makeHardwareInfo()->obtainHardwareDescription(); });
  Dictionary data = PairList()
                        .add("device", hardware.value())
                        .add("language", preferredLanguage())
                        .add("package_name", bundleText("CFBundleIdentifier"))
                        .add("app_version", bundleText("CFBundleVersion"))
                        .add("app_short_string", bundleText("CFBundleShortVersionString"))
                        .add("os_version", systemNameAndVersion())
                        .add("app_limit_tracking", digitText(store().boolForKey(key::app_limit_tracking)))
                        .add("new_user", digitText(state()._isNewUser))
                        .add("dev_id_strategy", "1")
                        .add("is_genuine", digitText(isOSGenuine()))
                        .add("currency", store().objectForKey(key::currency))
                        .add("usertime", currentLocalTime())
                        .add("uptime", returnUptime())
                        .dictionary();
  addUptimeDeltaAndLastPostTime(data);
  addFacebookAttribution(data, pasteboardText);
  deviceLimitsTracking = systemVersion() >= 6.0 && addAdvertisingEntries(data);
  if (const Value link = store().objectForKey(key::initialIdentityLink); !link.isNull()) {
    data = data.setting("identity_link", link);
  }
  addScreenSize(data);
  addReceipt(data);
  addDeviceState(data);
  if (const Value customId = customIdString(); !customId.isNull()) data = data.setting("custom_id", customId);
  return data;
}

void MarluneTracker::addFacebookAttribution(Dictionary& data, const Value& pasteboardText) const {
  if (isDisabled("fb_attribution_id") || pasteboardText.isNull()) return;
  try {
    data = data.setting("fb_attribution_id", pasteboardText);
  } catch (const std::exception& exception) {
    if (!loggingEnabled()) return;
    log(initialMethod, 1604,
        std::string("Marlune library - fb_attribution_id is nil.  If used the following crash would occur: ") +
            exception.what());
  }
}

/// Whether the device limits tracking.
bool MarluneTracker::addAdvertisingEntries(Dictionary& data) {
  const bool limited = !platform().device().advertisingTrackingEnabled();
  store().setObject(limited, key::device_limit_tracking);
  store().synchronize();
  data = data.setting("device_limit_tracking", digitText(limited));
  if (!isDisabled("idfv")) {
    data = data.setting("idfv", platform().device().identifierForVendor().value_or(""));
  }
  if (!isDisabled("idfa")) {
    const Value identifier = Text(platform().device().advertisingIdentifier()).value();
    data = data.setting("idfa", identifier.text());
    store().setObject(identifier, key::idfa);
  }
  return limited;
}

void MarluneTracker::addScreenSize(Dictionary& data) const {
  if (isDisabled("screen_size") || systemVersion() < 8.0) return;
  const Screen screen = platform().device().mainScreen().value_or(Screen());
  data = data.setting("disp_w", pixelText(screen.width)).setting("disp_h", pixelText(screen.height));
}

void MarluneTracker::addReceipt(Dictionary& data) const {
  if (std::floor(platform().device().foundationVersionNumber()) <= lastFoundationWithoutReceipt) return;
  const Value receipt = platform().bundle().encodedReceipt();
  if (receipt.isNull()) return;
  data = data.setting("receipt", receipt);
  if (loggingEnabled()) log(initialMethod, 1668, "Marlune library - install receipt: " + receipt.text());
}

void MarluneTracker::addDeviceState(Dictionary& data) const {
  if (!isDisabled("screen_brightness")) {
    data = data.setting("screen_brightness", platform().device().mainScreen().value_or(Screen()).brightness);
  }
  if (!isDisabled("network_conn_type")) {
    if (cellularConnectedBool()) {
      data = data.setting("network_conn_type", "cellular");
    } else if (wiFiConnectedBool()) {
      data = data.setting("network_conn_type", "wifi");
    }
  }
  if (!isDisabled("device_orientation")) {
    const bool landscape = UIInterfaceOrientationIsLandscape(platform().application().statusBarOrientation());
    data = data.setting("device_orientation", landscape ? "landscape" : "portrait");
  }
}

/// What later property checks compare with.
Dictionary MarluneTracker::watchDictionary(bool deviceLimitsTracking) const {
  return PairList()
      .add("app_limit_tracking", digitText(store().boolForKey(key::app_limit_tracking)))
      .add("app_short_string", bundleText("CFBundleShortVersionString"))
      .add("app_version", bundleText("CFBundleVersion"))
      .add("device_limit_tracking", digitText(deviceLimitsTracking))
      .add("is_genuine", digitText(isOSGenuine()))
      .add("language", preferredLanguage())
      .add("os_version", systemNameAndVersion())
      .dictionary();
}

}  // namespace fliprugair
