#pragma once

#include <atomic>
#include <string_view>

#include "Fliprugair/collaborators/Environment.h"
#include "Fliprugair/core/Context.h"
#include "Fliprugair/core/Identity.h"
#include "Fliprugair/environment/Connectivity.h"
#include "Fliprugair/environment/DeviceFacts.h"
#include "Fliprugair/environment/SessionClock.h"
#include "platform/Locked.h"
#include "platform/PairText.h"

namespace fliprugair {

namespace key {

// dictionary: given at the first start
inline constexpr std::string_view initialIdentityLink = "com.marlune.MarluneTracker.initialIdentityLink";

}  // namespace key

/// What the install report says about device and application, and what later property checks compare with.
class InstallData {
 public:
  struct Shared {
    std::atomic<bool> _isNewUser = false;  ///< the host app's statement that this is a new user
  };

  InstallData(Context& context, Shared& shared, const Identity& identity, SessionClock& clock, DeviceFacts& facts,
              const Connectivity& connectivity, const Surroundings& surroundings, const Bundle& bundle,
              const Application& application, Environment& environment)
      : context_(context),
        shared_(shared),
        identity_(identity),
        clock_(clock),
        facts_(facts),
        connectivity_(connectivity),
        surroundings_(surroundings),
        bundle_(bundle),
        application_(application),
        environment_(environment) {}

  struct Report {
    Dictionary data;
    Dictionary watched;
  };
  /// Reads everything anew, which also moves the reference point of the uptime delta.
  Report gather();

  static bool UIInterfaceOrientationIsLandscape(int orientation);

  // Properties of the tracker.
  Value customIdString() const { return customIdString_.load(); }
  void setCustomIdString(const Text& customIdString) { customIdString_.store(customIdString.value()); }
  void setIsNewUser(bool isNewUser) { shared_._isNewUser = isNewUser; }
  void storeIdentityLink(const Value& identityLink);

 private:
  void addBaseEntries(PairText& data) const;
  void addFacebookAttribution(PairText& data, const Value& pasteboardText) const;
  bool addAdvertisingEntries(PairText& data);
  void addScreenSize(PairText& data) const;
  void addReceipt(PairText& data) const;
  void addDeviceState(PairText& data) const;
  Dictionary watchDictionary(bool deviceLimitsTracking) const;

  Context& context_;
  Shared& shared_;
  const Identity& identity_;
  SessionClock& clock_;
  DeviceFacts& facts_;
  const Connectivity& connectivity_;
  const Surroundings& surroundings_;
  const Bundle& bundle_;
  const Application& application_;
  Environment& environment_;
  Locked<Value> customIdString_;
};

}  // namespace fliprugair
