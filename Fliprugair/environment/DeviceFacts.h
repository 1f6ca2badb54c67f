#pragma once

#include <string_view>

#include "Fliprugair/core/Context.h"
#include "platform/Locked.h"

namespace fliprugair {

namespace key {

// booleans: identifiers that the control host forbids
inline constexpr std::string_view idfaBlacklisted = "com.marlune.MarluneTracker.idfaBlacklisted";
inline constexpr std::string_view idfvBlacklisted = "com.marlune.MarluneTracker.idfvBlacklisted";
// booleans: the host app's choice, and the device's setting as last reported
inline constexpr std::string_view app_limit_tracking = "com.marlune.MarluneTracker.app_limit_tracking";
inline constexpr std::string_view device_limit_tracking = "com.marlune.MarluneTracker.device_limit_tracking";
// dictionary: device properties last reported; text: the advertising identifier last reported
inline constexpr std::string_view watchProperties = "com.marlune.MarluneTracker.watchProperties";
inline constexpr std::string_view idfa = "com.marlune.MarluneTracker.idfa";

}  // namespace key

/// What the reports say about device and application, which of it the control host forbids, and what was reported last.
class DeviceFacts {
 public:
  struct Shared {
    Locked<Value> disabledDeviceTypes;  ///< array of text
  };

  DeviceFacts(Context& context, Shared& shared, const Device& device, const Bundle& bundle)
      : store_(context.store()), shared_(shared), device_(device), bundle_(bundle) {}

  /// Read in single precision on purpose: the thresholds that it is compared with are chosen for that.
  float systemVersion() const;
  Value systemNameAndVersion() const;
  /// "" when the entry is missing.
  Value bundleText(std::string_view key) const;
  /// Null when the entry is missing.
  Value bundleVersion() const { return bundle_.infoEntry("CFBundleVersion"); }
  /// "" when the list is empty.
  Value preferredLanguage() const;
  /// Always YES: there is no test behind it.
  bool isOSGenuine() const { return true; }
  /// What was never reported, or is missing from the bundle, counts as changed.
  bool appVersionChanged() const;

  /// From this system version on there are identifiers and their limits.
  bool hasIdentifiers() const { return systemVersion() >= 6.0; }
  /// Identifiers in the form in which they are reported: "" when there is none.
  Value vendorIdentifier() const;
  Value reportedAdvertisingIdentifier() const;
  /// Null when there is none.
  Value advertisingIdentifier() const;
  bool limitsTracking() const { return !device_.advertisingTrackingEnabled(); }
  double foundationVersionNumber() const { return device_.foundationVersionNumber(); }
  /// All 0 when there is no main screen.
  Screen screen() const { return device_.mainScreen().value_or(Screen()); }

  /// A boolean in the form in which reports carry it.
  static Value digitText(bool flag);

  // What was reported last.
  Dictionary reportedProperties() const { return store_.objectForKey(key::watchProperties).dictionary(); }
  void noteReportedProperties(const Value& properties) { store_.setObject(properties, key::watchProperties); }
  Value lastAdvertisingIdentifier() const { return store_.objectForKey(key::idfa); }
  void noteAdvertisingIdentifier(const Value& identifier) { store_.setObject(identifier, key::idfa); }
  bool lastDeviceLimit() const { return store_.boolForKey(key::device_limit_tracking); }
  void noteDeviceLimit(bool limits) { store_.setBool(limits, key::device_limit_tracking); }

  /// The user's choice inside the app.
  bool appLimitsTracking() const { return store_.boolForKey(key::app_limit_tracking); }
  void setAppLimitsTracking(bool limits) { store_.setBool(limits, key::app_limit_tracking); }

  bool isDisabled(std::string_view deviceType) const;
  bool mayReportVendorIdentifier() const { return !store_.boolForKey(key::idfvBlacklisted); }
  bool mayReportAdvertisingIdentifier() const { return !store_.boolForKey(key::idfaBlacklisted); }
  /// An array is the control host's new list; anything else changes nothing.
  void adoptBlacklist(const Value& blacklist);

  void storeDefaults();
  void reset() { shared_.disabledDeviceTypes.store(Array()); }

 private:
  UserDefaults& store_;
  Shared& shared_;
  const Device& device_;
  const Bundle& bundle_;
};

}  // namespace fliprugair
