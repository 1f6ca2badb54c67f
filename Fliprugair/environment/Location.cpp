// Positions: when one is due, and the record that it becomes.

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/core/ProcessState.h"
#include "Fliprugair/core/StoredKeys.h"
#include "platform/PairList.h"

namespace fliprugair {

namespace {

constexpr int authorizedAlways = 3;
constexpr int authorizedWhenInUse = 4;

}  // namespace

bool MarluneTracker::locationServicesApproved() const {
  if (!platform().surroundings().locationServicesEnabled()) return false;
  const int status = platform().surroundings().locationAuthorizationStatus();
  return status == authorizedAlways || (status == authorizedWhenInUse && systemVersion() >= 8.0);
}

/// One search at a time: it ends with a fix alone, and without one no other is begun in this process.
void MarluneTracker::checkReportLocation() {
  if (!state().reportLocation || !locationServicesApproved()) return;
  // Unsigned on purpose: a last fix that lies in the future is due at once.
  const std::uint64_t age = now() - static_cast<std::uint64_t>(store().integerForKey(key::lastLocationTime));
  const std::uint64_t stale = static_cast<std::uint64_t>(state().location_staleness) * 60;
  if (age <= stale || state().locMgr.load() != nullptr) return;
  postToMainQueue([](MarluneTracker& self) {
    const auto manager = self.environment_.makeLocationManager();
    self.state().locMgr.store(manager);
    manager->setLocationManagerDelegate(self.weak_from_this());
    manager->initLocationServices(self.loggingEnabled(), self.state().location_accuracy, self.state().location_timeout);
  });
}

void MarluneTracker::reportFix(const Value& fix) {
  if (loggingEnabled()) {
    log("-[MarluneTracker currentLocationUpdate:]", 2420, "Marlune library - current location: " + described(fix));
  }
  if (const auto manager = state().locMgr.exchange(nullptr)) {
    guarded([&] { manager->setLocationManagerDelegate({}); });
  }
  store().setInteger(now(), key::lastLocationTime);
  const Dictionary given = fix.dictionary();
  const Dictionary location = PairList()
                                  .add("lat", given["latitude"])
                                  .add("lon", given["longitude"])
                                  .add("acc", given["accuracy"])
                                  .dictionary();
  appendBatchEvent(PairList()
                       .add("marlune_device_id", store().objectForKey(key::deviceId))
                       .add("marlune_app_id", store().objectForKey(key::appId))
                       .add("action", "update")
                       .add("data", PairList().add("location", location).dictionary())
                       .add("sdk_version", state().sdkVersion.load())
                       .add("sdk_protocol", "4")
                       .dictionary());
}

}  // namespace fliprugair
