#include "Fliprugair/install/InstallData.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <exception>

#include "Fliprugair/core/Defaults.h"
#include "platform/Joined.h"
#include "platform/PairList.h"
#include "platform/TextOrEmpty.h"

namespace fliprugair {

namespace {

constexpr std::string_view initialMethod = "-[MarluneTracker initialEvent]";
// Compared with the version rounded down, so that everything below 1048 is excluded.
constexpr double lastFoundationWithoutReceipt = 1047.2;

/// Truncated to 32 bits, as the number of pixels is reported.
std::string pixelText(double pixels) {
  const std::int64_t whole = Value(pixels).integerValue();
  return signedText(std::clamp<std::int64_t>(whole, INT32_MIN, INT32_MAX));
}

}  // namespace

InstallData::Report InstallData::gather() {
  // A pasteboard without text is null, one that does not exist is "".
  const auto pasteboard = surroundings_.pasteboard("fb_app_attribution");
  const Value pasteboardText = pasteboard ? pasteboard->text : Value("");
  PairText data(context_.json());
  addBaseEntries(data);
  clock_.addUptimeDeltaAndLastPostTime(data);
  addFacebookAttribution(data, pasteboardText);
  const bool deviceLimitsTracking = facts_.hasIdentifiers() && addAdvertisingEntries(data);
  if (const Value link = context_.store().objectForKey(key::initialIdentityLink); !link.isNull()) {
    data.set("identity_link", link);
  }
  addScreenSize(data);
  addReceipt(data);
  addDeviceState(data);
  if (const Value customId = customIdString(); !customId.isNull()) data.set("custom_id", customId);
  return {data.value().dictionary(), watchDictionary(deviceLimitsTracking)};
}

void InstallData::addBaseEntries(PairText& data) const {
  // Its failure costs no other entry: the list would end with the first one that is absent.
  Text hardware = "";
  context_.guarded([&] { hardware = environment_.makeHardwareInfo()->obtainHardwareDescription(); });
  data.add("device", hardware.value());
  data.add("language", facts_.preferredLanguage());
  data.add("package_name", facts_.bundleText("CFBundleIdentifier"));
  data.add("app_version", facts_.bundleText("CFBundleVersion"));
  data.add("app_short_string", facts_.bundleText("CFBundleShortVersionString"));
  data.add("os_version", facts_.systemNameAndVersion());
  data.add("app_limit_tracking", DeviceFacts::digitText(facts_.appLimitsTracking()));
  data.add("new_user", DeviceFacts::digitText(shared_._isNewUser));
  data.addLiteral("dev_id_strategy", "1");
  data.add("is_genuine", DeviceFacts::digitText(facts_.isOSGenuine()));
  data.add("currency", identity_.currency());
  data.addSigned("usertime", clock_.now());
  data.addSigned("uptime", clock_.uptime());
}

bool InstallData::UIInterfaceOrientationIsLandscape(int orientation) { return orientation == 4 || orientation == 3; }

void InstallData::addFacebookAttribution(PairText& data, const Value& pasteboardText) const {
  if (facts_.isDisabled("fb_attribution_id") || pasteboardText.isNull()) return;
  try {
    data.set("fb_attribution_id", pasteboardText);
  } catch (const std::exception& exception) {
    if (!context_.loggingEnabled()) return;
    context_.log(initialMethod, 1604,
                 joined({"Marlune library - fb_attribution_id is nil.  If used the following crash would occur: ",
                         exception.what()}));
  }
}

/// Whether the device limits tracking.
bool InstallData::addAdvertisingEntries(PairText& data) {
  const bool limited = facts_.limitsTracking();
  facts_.noteDeviceLimit(limited);
  context_.store().synchronize();
  data.set("device_limit_tracking", DeviceFacts::digitText(limited));
  if (!facts_.isDisabled("idfv")) data.set("idfv", facts_.vendorIdentifier());
  if (!facts_.isDisabled("idfa")) {
    const Value identifier = facts_.advertisingIdentifier();
    data.set("idfa", textOrEmpty(identifier));
    facts_.noteAdvertisingIdentifier(identifier);
  }
  return limited;
}

void InstallData::addScreenSize(PairText& data) const {
  if (facts_.isDisabled("screen_size") || facts_.systemVersion() < 8.0) return;
  const Screen screen = facts_.screen();
  data.set("disp_w", pixelText(screen.width)).set("disp_h", pixelText(screen.height));
}

void InstallData::addReceipt(PairText& data) const {
  if (std::floor(facts_.foundationVersionNumber()) <= lastFoundationWithoutReceipt) return;
  const Value receipt = bundle_.encodedReceipt();
  if (receipt.isNull()) return;
  data.set("receipt", receipt);
  context_.logIfEnabled(initialMethod, 1668, "Marlune library - install receipt: ", textOrEmpty(receipt));
}

void InstallData::addDeviceState(PairText& data) const {
  if (!facts_.isDisabled("screen_brightness")) {
    data.set("screen_brightness", facts_.screen().brightness);
  }
  if (!facts_.isDisabled("network_conn_type")) {
    if (connectivity_.cellularConnectedBool()) {
      data.set("network_conn_type", "cellular");
    } else if (connectivity_.wiFiConnectedBool()) {
      data.set("network_conn_type", "wifi");
    }
  }
  if (!facts_.isDisabled("device_orientation")) {
    const bool landscape = UIInterfaceOrientationIsLandscape(application_.statusBarOrientation());
    data.set("device_orientation", landscape ? "landscape" : "portrait");
  }
}

Dictionary InstallData::watchDictionary(bool deviceLimitsTracking) const {
  PairList watched;
  watched.add("app_limit_tracking", DeviceFacts::digitText(facts_.appLimitsTracking()));
  watched.add("app_short_string", facts_.bundleText("CFBundleShortVersionString"));
  watched.add("app_version", facts_.bundleText("CFBundleVersion"));
  watched.add("device_limit_tracking", DeviceFacts::digitText(deviceLimitsTracking));
  watched.add("is_genuine", DeviceFacts::digitText(facts_.isOSGenuine()));
  watched.add("language", facts_.preferredLanguage());
  watched.add("os_version", facts_.systemNameAndVersion());
  return watched.dictionary();
}

void InstallData::storeIdentityLink(const Value& identityLink) {
  if (context_.isTooDeep("-[MarluneTracker initMarluneWithParams:]", 731, identityLink)) return;
  storeIfAbsent(context_.store(), key::initialIdentityLink, identityLink);
}

}  // namespace fliprugair
