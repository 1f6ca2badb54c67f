#include "Fliprugair/install/PropertyUpdates.h"

#include "Fliprugair/core/Defaults.h"

namespace fliprugair {

namespace {

/// Compares current properties with those last reported and gathers the differences.
class PropertyComparison {
 public:
  explicit PropertyComparison(Dictionary watched) : watched_(std::move(watched)) {}

  /// A missing value counts as NO.
  void compare(std::string_view key, bool current) {
    if (watched_[key].boolValue() != current) change(key, DeviceFacts::digitText(current));
  }

  /// Null is no change.
  void compare(std::string_view key, const Value& current) {
    if (!current.isNull() && watched_[key] != current) change(key, current);
  }

  void change(std::string_view key, const Value& current) {
    changes_ = changes_.setting(key, current);
    watched_ = watched_.setting(key, current);
  }

  const Dictionary& changes() const { return changes_; }
  const Dictionary& watched() const { return watched_; }

 private:
  Dictionary watched_;
  Dictionary changes_;
};

}  // namespace

void PropertyUpdates::checkWatchPropertiesChanged() {
  PropertyComparison properties(facts_.reportedProperties());
  properties.compare("app_limit_tracking", facts_.appLimitsTracking());
  properties.compare("app_short_string", facts_.bundleText("CFBundleShortVersionString"));
  properties.compare("app_version", facts_.bundleVersion());
  properties.compare("device_limit_tracking", facts_.lastDeviceLimit());
  properties.compare("is_genuine", facts_.isOSGenuine());
  properties.compare("language", facts_.preferredLanguage());
  properties.compare("os_version", facts_.systemNameAndVersion());
  if (const Value identifier = changedAdvertisingIdentifier(); !identifier.isNull()) {
    properties.change("idfa", identifier);
    facts_.noteAdvertisingIdentifier(identifier);
  }
  if (properties.changes().holds("os_version")) refreshUserAgent();
  if (properties.changes().empty()) return;
  requests_.enqueueAndSend(envelope_.request("update", RequestEnvelope::Form::full, properties.changes()));
  facts_.noteReportedProperties(properties.watched());
  context_.store().synchronize();
}

/// Null when it is as last reported, not wanted, forbidden or not to be had.
Value PropertyUpdates::changedAdvertisingIdentifier() const {
  if (!context_.store().boolForKey(key::sendIdUpdates) || facts_.isDisabled("idfa")) return {};
  const Value identifier = facts_.advertisingIdentifier();
  return identifier == facts_.lastAdvertisingIdentifier() ? Value() : identifier;
}

void PropertyUpdates::refreshUserAgent() {
  context_.postToMainQueue([this] {
    const Text userAgent = environment_.makeWebViewUserAgent()->userAgentString();
    if (userAgent.isNull()) return;
    context_.store().setObject(userAgent.value(), key::userAgent);
    context_.store().synchronize();
  });
}

void PropertyUpdates::setLimitAdTracking(bool limitAdTracking) {
  facts_.setAppLimitsTracking(limitAdTracking);
  context_.store().synchronize();
  checkWatchPropertiesChanged();
}

void PropertyUpdates::checkDeviceLimitTracking() {
  if (!facts_.hasIdentifiers()) return;
  const bool deviceTrackingLimited = facts_.limitsTracking();
  if (deviceTrackingLimited == facts_.lastDeviceLimit()) return;
  facts_.noteDeviceLimit(deviceTrackingLimited);
  context_.store().synchronize();
  setLimitAdTracking(facts_.appLimitsTracking());
}

void PropertyUpdates::adoptIdUpdates(const Value& wanted) {
  if (!wanted.isNull()) context_.store().setBool(wanted.boolValue(), key::sendIdUpdates);
}

void PropertyUpdates::storeUserAgent() {
  const Value stored = context_.store().objectForKey(key::userAgent);
  if (!stored.isNull() && stored != Value("")) return;
  Text userAgent;
  context_.guarded([&] { userAgent = environment_.makeWebViewUserAgent()->userAgentString(); });
  context_.store().setObject(userAgent.string(), key::userAgent);
}

void PropertyUpdates::storeDefaults() { storeBoolIfAbsent(context_.store(), key::sendIdUpdates, false); }

}  // namespace fliprugair
