// The reaction to the application's notifications, and the sessions that they report.

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/core/ProcessState.h"
#include "Fliprugair/core/StoredKeys.h"
#include "platform/PairList.h"

namespace fliprugair {

namespace {

constexpr std::int64_t fullSessionTracking = 1;

}  // namespace

void MarluneTracker::appDidLaunch() { state().skipBecameActive = true; }

void MarluneTracker::appDidBecomeActive() {
  store().setInteger(now(), key::timeAppBecameActive);
  if (store().integerForKey(key::sessionTracking) == fullSessionTracking && !store().boolForKey(key::sendInitial)) {
    sessionEvent("resume");
  }
  sendQueueEvents();
  // The first activation after a launch ends here.
  if (state().skipBecameActive.exchange(false)) return;
  if (systemVersion() >= 6.0) checkDeviceLimitTracking();
  checkReportLocation();
}

void MarluneTracker::checkDeviceLimitTracking() {
  const bool deviceTrackingLimited = !platform().device().advertisingTrackingEnabled();
  if (deviceTrackingLimited == store().boolForKey(key::device_limit_tracking)) return;
  store().setObject(deviceTrackingLimited, key::device_limit_tracking);
  store().synchronize();
  setLimitAdTracking(store().boolForKey(key::app_limit_tracking));
}

void MarluneTracker::appWillResignActive() {
  if (store().boolForKey(key::sendInitial)) return;
  // The pause record comes before the flush, so that it travels in the same batch.
  if (store().integerForKey(key::sessionTracking) == fullSessionTracking) sessionEvent("pause");
  const auto batchEventArray = store().arrayForKey(key::batchEventQueue);
  if (batchEventArray && !batchEventArray->empty()) flushBatchQueue(true);
  stopTrackerWaitTimer();
}

void MarluneTracker::appWillTerminate() { stopTrackerWaitTimer(); }

void MarluneTracker::sessionEvent(std::string_view sessionState) {
  Dictionary sessionData = PairList()
                               .add("state", sessionState)
                               .add("usertime", currentLocalTime())
                               .add("uptime", returnUptime())
                               .dictionary();
  addUptimeDeltaAndLastPostTime(sessionData);
  appendBatchEvent(PairList()
                       .add("marlune_device_id", store().objectForKey(key::deviceId))
                       .add("marlune_app_id", store().objectForKey(key::appId))
                       .add("action", "session")
                       .add("data", sessionData)
                       .add("sdk_version", state().sdkVersion.load())
                       .add("sdk_protocol", "4")
                       .dictionary());
}

}  // namespace fliprugair
