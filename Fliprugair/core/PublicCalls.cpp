// The host app's calls and the collaborators' callbacks, which enter the tracker through `perform` and `guarded`.

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/core/ProcessState.h"
#include "Fliprugair/core/StoredKeys.h"

namespace fliprugair {

void MarluneTracker::enableConsoleLogging(bool enabled) { state()._loggingEnabled = enabled; }

void MarluneTracker::trackEvent(const Text& eventTitle, const Text& eventValue) {
  trackEventWithEventTitleString(eventTitle, eventValue, false);
}

void MarluneTracker::trackEvent(const Text& eventTitle, const Text& eventValue, const Text& encodedReceipt) {
  perform([&] { recordReceiptEvent(eventTitle, eventValue, encodedReceipt); });
}

void MarluneTracker::trackEventWithEventTitleString(const Text& eventTitleString, const Text& eventValueString,
                                                    bool standardBool) {
  perform([&] { recordEvent(eventTitleString, eventValueString, standardBool); });
}

void MarluneTracker::trackEventWithEventStandardParameters(const EventStandardParameters* eventStandardParameters) {
  perform([&] { eventNetworkTransactionWithEventStandardParameters(eventStandardParameters); });
}

void MarluneTracker::identityLinkEvent(const Value& identityLinkData) {
  perform([&] { recordIdentityLink(identityLinkData); });
}

void MarluneTracker::spatialEvent(const Text& eventTitle, float x, float y, float z) {
  perform([&] { recordSpatialEvent(eventTitle, x, y, z); });
}

void MarluneTracker::sendDeepLink(const URL& url, const Text& sourceApplication) {
  perform([&] { recordDeepLink(url, sourceApplication); });
}

void MarluneTracker::setLimitAdTracking(bool limitAdTracking) {
  perform([&] {
    store().setObject(limitAdTracking, key::app_limit_tracking);
    store().synchronize();
    checkWatchPropertiesChanged();
  });
}

void MarluneTracker::handleWatchEvents() { handleWatchEvents(""); }

void MarluneTracker::handleWatchEvents(const Text& watchLink) { handleWatchEvents(watchLink, false); }

void MarluneTracker::handleWatchEvents(const Text& watchLink, bool calledByTrackEvent) {
  perform([&] { reportWatch(watchLink.string(), calledByTrackEvent); });
}

void MarluneTracker::trackWatchEvent(const Text& eventTitle, const Text& eventValue) {
  perform([&] { reportWatchEvent(eventTitle, eventValue); });
}

std::shared_ptr<MarluneTrackerClientDelegate> MarluneTracker::trackerDelegate() const {
  return trackerDelegate_.load().lock();
}

void MarluneTracker::setTrackerDelegate(const std::weak_ptr<MarluneTrackerClientDelegate>& delegate) {
  trackerDelegate_.store(delegate);
}

Value MarluneTracker::customIdString() const { return customIdString_.load(); }

void MarluneTracker::setCustomIdString(const Text& customIdString) { customIdString_.store(customIdString.value()); }

std::shared_ptr<MarluneRetrieveiAdAttribution> MarluneTracker::iAdAttributionManager() const {
  return iAdAttributionManager_.load();
}

void MarluneTracker::setIAdAttributionManager(std::shared_ptr<MarluneRetrieveiAdAttribution> manager) {
  iAdAttributionManager_.store(std::move(manager));
}

void MarluneTracker::MarluneRetrieveAttribution(const Value& reply) {
  guarded([&] { takeAttributionReply(reply.dictionary()); });
}

void MarluneTracker::MarluneInitResult(const Value& reply) {
  guarded([&] { takeInitReply(reply); });
}

void MarluneTracker::MarluneInitialResult(const Value& reply) {
  guarded([&] { takeInitialReply(reply); });
}

void MarluneTracker::iAdAttributionData(const Value& details, bool unknown) {
  guarded([&] { takeSearchAdAnswer(details, unknown); });
}

void MarluneTracker::currentLocationUpdate(const Value& fix) {
  guarded([&] { reportFix(fix); });
}

}  // namespace fliprugair
