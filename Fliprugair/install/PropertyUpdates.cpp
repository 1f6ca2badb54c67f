// Later changes of what the install report said about device and application.

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/core/ProcessState.h"
#include "Fliprugair/core/StoredKeys.h"
#include "platform/PairList.h"

namespace fliprugair {

namespace {

/// Compares current properties with those last reported and gathers the differences.
class PropertyComparison {
 public:
  explicit PropertyComparison(Dictionary watched) : watched_(std::move(watched)) {}

  /// A missing value counts as NO.
  void compare(std::string_view key, bool current) {
    if (watched_[key].boolValue() != current) change(key, digitText(current));
  }

  /// Nothing is no change.
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
  static Value digitText(bool flag) { return flag ? "1" : "0"; }

  Dictionary watched_;
  Dictionary changes_;
};

}  // namespace

void MarluneTracker::checkWatchPropertiesChanged() {
  PropertyComparison properties(store().objectForKey(key::watchProperties).dictionary());
  properties.compare("app_limit_tracking", store().boolForKey(key::app_limit_tracking));
  properties.compare("app_short_string", bundleText("CFBundleShortVersionString"));
  properties.compare("app_version", platform().bundle().infoEntry("CFBundleVersion"));
  properties.compare("device_limit_tracking", store().boolForKey(key::device_limit_tracking));
  properties.compare("is_genuine", isOSGenuine());
  properties.compare("language", preferredLanguage());
  properties.compare("os_version", systemNameAndVersion());
  if (const Value identifier = changedAdvertisingIdentifier(); !identifier.isNull()) {
    properties.change("idfa", identifier);
    store().setObject(identifier, key::idfa);
  }
  if (properties.changes().holds("os_version")) refreshUserAgent();
  if (properties.changes().empty()) return;
  const Dictionary request = PairList()
                                 .add("marlune_device_id", store().objectForKey(key::deviceId))
                                 .add("marlune_app_id", store().objectForKey(key::appId))
                                 .add("action", "update")
                                 .add("data", properties.changes())
                                 .add("sdk_version", state().sdkVersion.load())
                                 .add("sdk_protocol", "4")
                                 .dictionary();
  enqueueAndSend(request);
  store().setObject(properties.watched(), key::watchProperties);
  store().synchronize();
}

/// Nothing when it is as last reported, not wanted, forbidden or not to be had.
Value MarluneTracker::changedAdvertisingIdentifier() const {
  if (!store().boolForKey(key::sendIdUpdates) || isDisabled("idfa")) return {};
  const Value identifier = Text(platform().device().advertisingIdentifier()).value();
  return identifier == store().objectForKey(key::idfa) ? Value() : identifier;
}

void MarluneTracker::refreshUserAgent() {
  postToMainQueue([](MarluneTracker& self) {
    const Text userAgent = self.environment_.makeWebViewUserAgent()->userAgentString();
    if (userAgent.isNull()) return;
    self.store().setObject(userAgent.value(), key::userAgent);
    self.store().synchronize();
  });
}

}  // namespace fliprugair
