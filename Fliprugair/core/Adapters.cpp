// Adapters for callers from another language runtime: they check what they are given and forward it.

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/core/TrackerImplementation.h"

namespace fliprugair {

std::shared_ptr<MarluneTracker> MarluneTracker::swiftInitMarluneWithParams(Environment& environment,
                                                                           const AnyObject& options) {
  if (options.value().isDictionary()) return initMarluneWithParams(environment, options.value());
  try {
    environment.advise(
        "Marlune library - no tracker was started: the options are not a dictionary. Give one with \"marluneAppId\", "
        "or "
        "with \"partnerId\" and \"partnerName\", each a text that is not empty.");
  } catch (...) {
    // There is no tracker yet on whose log this could be said.
  }
  return nullptr;
}

void MarluneTracker::swiftEnableConsoleLogging(bool enabled) { enableConsoleLogging(enabled); }

void MarluneTracker::swiftTrackEvent(const AnyObject& eventTitle, const AnyObject& eventValue) {
  const Value& title = eventTitle.value();
  const Value& value = eventValue.value();
  if (title.isText() && value.isText()) trackEvent(Text::of(title), Text::of(value));
}

void MarluneTracker::swiftIdentityLinkEvent(const AnyObject& identityLinkData) {
  if (identityLinkData.value().isDictionary()) identityLinkEvent(identityLinkData.value());
}

void MarluneTracker::swiftSpatialEvent(const AnyObject& eventTitle, float x, float y, float z) {
  if (eventTitle.value().isText()) spatialEvent(Text::of(eventTitle.value()), x, y, z);
}

void MarluneTracker::swiftSetLimitAdTracking(bool limitAdTracking) { setLimitAdTracking(limitAdTracking); }

void MarluneTracker::swiftSendDeepLink(const AnyObject& url, const AnyObject& sourceApplication) {
  if (!url.url().absoluteString().isNull() && sourceApplication.value().isText()) {
    sendDeepLink(url.url(), Text::of(sourceApplication.value()));
  }
}

std::string MarluneTracker::swiftRetrieveAttribution() const {
  const auto tracker = implementation_;
  std::string text;
  tracker->context.perform([&] { text = tracker->attribution.retrieveAttributionText(); });
  return text;
}

}  // namespace fliprugair
