#pragma once

#include <string_view>

#include "Fliprugair/collaborators/Environment.h"
#include "Fliprugair/core/Context.h"
#include "Fliprugair/core/RequestEnvelope.h"
#include "Fliprugair/environment/DeviceFacts.h"
#include "Fliprugair/events/RequestQueue.h"

namespace fliprugair {

namespace key {

inline constexpr std::string_view userAgent = "com.marlune.MarluneTracker.userAgent";          // text
inline constexpr std::string_view sendIdUpdates = "com.marlune.MarluneTracker.sendIdUpdates";  // boolean

}  // namespace key

/// Later changes of what the install report said about device and application, reported at once.
class PropertyUpdates {
 public:
  PropertyUpdates(Context& context, RequestQueue& requests, const RequestEnvelope& envelope, DeviceFacts& facts,
                  Environment& environment)
      : context_(context), requests_(requests), envelope_(envelope), facts_(facts), environment_(environment) {}

  /// Compares the properties with those last reported, and sends what differs.
  void checkWatchPropertiesChanged();

  /// The user's choice inside the app.
  void setLimitAdTracking(bool limitAdTracking);
  /// The user's choice on the device, at an activation.
  void checkDeviceLimitTracking();

  void adoptIdUpdates(const Value& wanted);

  // Start-up.
  void storeUserAgent();
  void storeDefaults();

 private:
  Value changedAdvertisingIdentifier() const;
  void refreshUserAgent();

  Context& context_;
  RequestQueue& requests_;
  const RequestEnvelope& envelope_;
  DeviceFacts& facts_;
  Environment& environment_;
};

}  // namespace fliprugair
