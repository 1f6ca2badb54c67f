// The init request: announces the installation and asks for settings.

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/core/ProcessState.h"
#include "Fliprugair/core/StoredKeys.h"
#include "platform/PairList.h"

namespace fliprugair {

namespace {

std::string_view sessionTrackingWord(std::int64_t code) { return code == 1 ? "full" : code == 2 ? "none" : ""; }

}  // namespace

void MarluneTracker::initEvent(const std::string& appId, const std::string& partnerId, const std::string& partnerName,
                               const std::string& currency, bool generateAnonymousMarluneDeviceId) {
  Dictionary data = PairList()
                        .add("partner_id", partnerId)
                        .add("partner_name", partnerName)
                        .add("package_name", bundleText("CFBundleIdentifier"))
                        .add("platform", "ios")
                        .add("session_tracking", sessionTrackingWord(store().integerForKey(key::sessionTracking)))
                        .add("currency", store().objectForKey(key::currency))
                        .add("os_version", systemNameAndVersion())
                        .dictionary();
  addIdentifiers(data, generateAnonymousMarluneDeviceId);
  const Value firstIdentity = PairList()
                                  .add("marlune_device_id", store().objectForKey(key::origDeviceId))
                                  .add("marlune_app_id", appId)
                                  .add("session_tracking", "full")
                                  .add("currency", currency)
                                  .dictionary();
  const Value request = PairList()
                            .add("action", "init")
                            .add("marlune_app_id", store().objectForKey(key::appId))
                            .add("marlune_device_id", store().objectForKey(key::deviceId))
                            .add("sdk_protocol", "4")
                            .add("sdk_version", state().sdkVersion.load())
                            .add("data", data)
                            .add("data_orig", firstIdentity)
                            .dictionary();
  // What the retry after a back-off sends again.
  store().setObject(request, key::INIT_PAYLOAD);
  store().synchronize();
  send(request, nullptr, Replies::delivered, invalidBackgroundTask);
}

/// The anonymous option keeps out the vendor identifier alone; the advertising identifier is the control host's affair.
void MarluneTracker::addIdentifiers(Dictionary& data, bool generateAnonymousMarluneDeviceId) const {
  if (systemVersion() < 6.0) return;
  if (!store().boolForKey(key::idfvBlacklisted) && !generateAnonymousMarluneDeviceId) {
    data = data.setting("idfv", platform().device().identifierForVendor().value_or(""));
  }
  if (!store().boolForKey(key::idfaBlacklisted)) {
    data = data.setting("idfa", platform().device().advertisingIdentifier().value_or(""));
  }
}

}  // namespace fliprugair
