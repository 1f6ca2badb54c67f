#include "Fliprugair/core/Identity.h"

#include "Fliprugair/core/Defaults.h"
#include "platform/TextOrEmpty.h"

namespace fliprugair {

Value Identity::getMarluneDeviceId() const { return textOrEmpty(deviceId()); }

Value Identity::createDeviceId() const {
  std::string identifier = "MI" + makeUUID_();
  std::erase(identifier, '-');
  return identifier;
}

void Identity::storeApplication(const Value& appId, const Value& currency) {
  storeIfEmpty(store_, key::appId, appId);
  storeIfEmpty(store_, key::currency, currency);
}

void Identity::storeDeviceId() {
  Value deviceId = getMarluneDeviceId();
  if (deviceId.text().empty()) deviceId = createDeviceId();
  storeIfAbsent(store_, key::origDeviceId, deviceId);
  storeIfAbsent(store_, key::deviceId, deviceId);
}

void Identity::adoptAppId(const Value& appId) {
  if (!appId.text().empty()) store_.setObject(appId, key::appId);
}

void Identity::adoptDeviceId(const Value& deviceId) {
  if (deviceId.text().empty()) return;
  store_.setObject(deviceId, key::deviceId);
  storeIfEmpty(store_, key::origDeviceId, deviceId);
}

void Identity::adoptCurrency(const Value& currency) {
  if (!currency.isNull()) store_.setObject(currency, key::currency);
}

}  // namespace fliprugair
