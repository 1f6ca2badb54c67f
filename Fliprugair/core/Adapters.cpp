// Adapters for callers from another language runtime: they check what they are given and forward it.

#include "Fliprugair/MarluneTracker.h"

namespace fliprugair {

namespace {

/// The value that `object` is; nothing when it is no value.
Value valueOf(const AnyObject& object) {
  const auto* value = std::get_if<Value>(&object);
  return value != nullptr ? *value : Value();
}

}  // namespace

std::shared_ptr<MarluneTracker> MarluneTracker::swiftInitMarluneWithParams(Environment& environment,
                                                                           const AnyObject& options) {
  const Value dictionary = valueOf(options);
  return dictionary.isDictionary() ? initMarluneWithParams(environment, dictionary) : nullptr;
}

void MarluneTracker::swiftEnableConsoleLogging(bool enabled) { enableConsoleLogging(enabled); }

void MarluneTracker::swiftTrackEvent(const AnyObject& eventTitle, const AnyObject& eventValue) {
  const Value title = valueOf(eventTitle);
  const Value value = valueOf(eventValue);
  if (title.isText() && value.isText()) trackEvent(Text::of(title), Text::of(value));
}

void MarluneTracker::swiftIdentityLinkEvent(const AnyObject& identityLinkData) {
  const Value dictionary = valueOf(identityLinkData);
  if (dictionary.isDictionary()) identityLinkEvent(dictionary);
}

void MarluneTracker::swiftSpatialEvent(const AnyObject& eventTitle, float x, float y, float z) {
  const Value title = valueOf(eventTitle);
  if (title.isText()) spatialEvent(Text::of(title), x, y, z);
}

void MarluneTracker::swiftSetLimitAdTracking(bool limitAdTracking) { setLimitAdTracking(limitAdTracking); }

void MarluneTracker::swiftSendDeepLink(const AnyObject& url, const AnyObject& sourceApplication) {
  const auto* link = std::get_if<URL>(&url);
  const Value source = valueOf(sourceApplication);
  if (link != nullptr && !link->absoluteString().isNull() && source.isText()) {
    sendDeepLink(*link, Text::of(source));
  }
}

std::string MarluneTracker::swiftRetrieveAttribution() const {
  const Value attribution = retrieveAttribution();
  if (!attribution.isDictionary()) return "";
  return platform().json().text(attribution).value_or("");
}

}  // namespace fliprugair
