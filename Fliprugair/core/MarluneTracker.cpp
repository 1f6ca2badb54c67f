// The public operations: each keeps its tracker alive for its own length, and enters through Context::perform.

#include "Fliprugair/MarluneTracker.h"

#include "Fliprugair/core/TrackerImplementation.h"
#include "platform/PairList.h"

namespace fliprugair {

namespace {

template <class Operation>
void perform(std::shared_ptr<TrackerImplementation> tracker, const Operation& operation) {
  tracker->context.perform([&] { operation(*tracker); });
}

/// For what is a value in memory alone and needs no entry; its lock may be one that is never given back, all the same.
template <class Operation>
auto access(std::shared_ptr<TrackerImplementation> tracker, const Operation& operation) {
  return tracker->context.isInert() ? decltype(operation(*tracker))() : operation(*tracker);
}

using T = TrackerImplementation;

}  // namespace

MarluneTracker::MarluneTracker(std::shared_ptr<TrackerImplementation> implementation)
    : implementation_(std::move(implementation)) {}

MarluneTracker::~MarluneTracker() = default;

std::shared_ptr<MarluneTracker> MarluneTracker::initWithMarluneAppId(Environment& environment, const Text& appId) {
  return initWithMarluneAppId(environment, appId, "usd");
}

std::shared_ptr<MarluneTracker> MarluneTracker::initWithMarluneAppId(Environment& environment, const Text& appId,
                                                                     const Text& currency) {
  return initWithMarluneAppId(environment, appId, currency, false);
}

std::shared_ptr<MarluneTracker> MarluneTracker::initWithMarluneAppId(Environment& environment, const Text& appId,
                                                                     const Text& currency, bool enableLogging) {
  return initWithMarluneAppId(environment, appId, currency, enableLogging, false);
}

std::shared_ptr<MarluneTracker> MarluneTracker::initWithMarluneAppId(Environment& environment, const Text& appId,
                                                                     const Text& currency, bool enableLogging,
                                                                     bool limitAdTracking) {
  return initWithMarluneAppId(environment, appId, currency, enableLogging, limitAdTracking, false);
}

std::shared_ptr<MarluneTracker> MarluneTracker::initWithMarluneAppId(Environment& environment, const Text& appId,
                                                                     const Text& currency, bool enableLogging,
                                                                     bool limitAdTracking, bool isNewUser) {
  return initMarluneWithParams(environment, PairList()
                                                .add("marluneAppId", appId.value())
                                                .add("currency", currency.value())
                                                .add("enableLogging", DeviceFacts::digitText(enableLogging))
                                                .add("limitAdTracking", DeviceFacts::digitText(limitAdTracking))
                                                .add("isNewUser", DeviceFacts::digitText(isNewUser))
                                                .dictionary());
}

std::shared_ptr<MarluneTracker> MarluneTracker::initMarluneWithParams(Environment& environment, const Value& options) {
  auto implementation = TrackerImplementation::start(environment, options);
  if (implementation == nullptr) return nullptr;
  // The constructor is private, so there is no make_shared.
  return std::shared_ptr<MarluneTracker>(new MarluneTracker(std::move(implementation)));
}

void MarluneTracker::enableConsoleLogging(bool enabled) {
  access(implementation_, [&](T& tracker) { tracker.context.enableLogging(enabled); });
}

void MarluneTracker::trackEvent(const Text& eventTitle, const Text& eventValue) {
  perform(implementation_, [&](T& tracker) { tracker.events.trackEvent(eventTitle, eventValue); });
}

void MarluneTracker::trackEvent(const Text& eventTitle, const Text& eventValue, const Text& encodedReceipt) {
  perform(implementation_, [&](T& tracker) { tracker.events.trackEvent(eventTitle, eventValue, encodedReceipt); });
}

void MarluneTracker::trackEventWithEventTitleString(const Text& eventTitleString, const Text& eventValueString,
                                                    bool standardBool) {
  perform(implementation_, [&](T& tracker) {
    tracker.events.trackEventWithEventTitleString(eventTitleString, eventValueString, standardBool);
  });
}

void MarluneTracker::trackEventWithEventStandardParameters(const EventStandardParameters* eventStandardParameters) {
  perform(implementation_,
          [&](T& tracker) { tracker.events.trackEventWithEventStandardParameters(eventStandardParameters); });
}

void MarluneTracker::identityLinkEvent(const Value& identityLinkData) {
  perform(implementation_, [&](T& tracker) { tracker.events.identityLinkEvent(identityLinkData); });
}

void MarluneTracker::spatialEvent(const Text& eventTitle, float x, float y, float z) {
  perform(implementation_, [&](T& tracker) { tracker.events.spatialEvent(eventTitle, x, y, z); });
}

void MarluneTracker::sendDeepLink(const URL& url, const Text& sourceApplication) {
  perform(implementation_, [&](T& tracker) { tracker.events.sendDeepLink(url, sourceApplication); });
}

void MarluneTracker::setLimitAdTracking(bool limitAdTracking) {
  perform(implementation_, [&](T& tracker) { tracker.properties.setLimitAdTracking(limitAdTracking); });
}

Value MarluneTracker::retrieveAttribution() const {
  Value attribution;
  perform(implementation_, [&](T& tracker) { attribution = tracker.attribution.retrieveAttribution(); });
  return attribution;
}

void MarluneTracker::handleWatchEvents() { handleWatchEvents(""); }

void MarluneTracker::handleWatchEvents(const Text& watchLink) { handleWatchEvents(watchLink, false); }

void MarluneTracker::handleWatchEvents(const Text& watchLink, bool calledByTrackEvent) {
  perform(implementation_, [&](T& tracker) { tracker.watch.handleWatchEvents(watchLink, calledByTrackEvent); });
}

void MarluneTracker::trackWatchEvent(const Text& eventTitle, const Text& eventValue) {
  perform(implementation_, [&](T& tracker) { tracker.watch.trackWatchEvent(eventTitle, eventValue); });
}

std::shared_ptr<MarluneTrackerClientDelegate> MarluneTracker::trackerDelegate() const {
  return access(implementation_, [](T& tracker) { return tracker.attribution.trackerDelegate(); });
}

void MarluneTracker::setTrackerDelegate(const std::shared_ptr<MarluneTrackerClientDelegate>& delegate) {
  access(implementation_, [&](T& tracker) { tracker.attribution.setTrackerDelegate(delegate); });
}

Value MarluneTracker::customIdString() const {
  return access(implementation_, [](T& tracker) { return tracker.installData.customIdString(); });
}

void MarluneTracker::setCustomIdString(const Text& customIdString) {
  access(implementation_, [&](T& tracker) { tracker.installData.setCustomIdString(customIdString); });
}

std::shared_ptr<MarluneRetrieveiAdAttribution> MarluneTracker::iAdAttributionManager() const {
  return access(implementation_, [](T& tracker) { return tracker.searchAd.manager(); });
}

void MarluneTracker::setIAdAttributionManager(std::shared_ptr<MarluneRetrieveiAdAttribution> manager) {
  access(implementation_, [&](T& tracker) { tracker.searchAd.setManager(std::move(manager)); });
}

}  // namespace fliprugair
