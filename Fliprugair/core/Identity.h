#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "Fliprugair/core/Context.h"

namespace fliprugair {

namespace key {

inline constexpr std::string_view appId = "com.marlune.MarluneTracker.appId";                // text
inline constexpr std::string_view currency = "com.marlune.MarluneTracker.currency";          // text
inline constexpr std::string_view origDeviceId = "com.marlune.MarluneTracker.origDeviceId";  // text: the first one
inline constexpr std::string_view deviceId = "com.marlune.MarluneTracker.deviceId";          // text

}  // namespace key

/// Who this installation is: the identifiers of application and device, and the application's currency. They are read
/// from the store whenever they are needed, since the control host may replace them.
class Identity {
 public:
  using MakeUUID = std::function<std::string()>;

  Identity(Context& context, MakeUUID makeUUID) : store_(context.store()), makeUUID_(std::move(makeUUID)) {}

  Value appId() const { return store_.objectForKey(key::appId); }
  Value currency() const { return store_.objectForKey(key::currency); }
  Value deviceId() const { return store_.objectForKey(key::deviceId); }
  Value origDeviceId() const { return store_.objectForKey(key::origDeviceId); }

  /// The stored identifier; "" when there is none or it is no text.
  Value getMarluneDeviceId() const;
  /// A new identifier. Stores nothing.
  Value createDeviceId() const;

  // Start-up: what is absent is filled in.
  void storeApplication(const Value& appId, const Value& currency);
  void storeDeviceId();

  // The control host's word; null, and what is no text or empty where an identifier is wanted, changes nothing.
  void adoptAppId(const Value& appId);
  void adoptDeviceId(const Value& deviceId);
  void adoptCurrency(const Value& currency);

 private:
  UserDefaults& store_;
  const MakeUUID makeUUID_;
};

}  // namespace fliprugair
