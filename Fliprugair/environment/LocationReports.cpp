#include "Fliprugair/environment/LocationReports.h"

#include "Fliprugair/core/Defaults.h"

namespace fliprugair {

namespace {

constexpr int authorizedAlways = 3;
constexpr int authorizedWhenInUse = 4;

}  // namespace

bool LocationReports::locationServicesApproved() const {
  if (!surroundings_.locationServicesEnabled()) return false;
  const int status = surroundings_.locationAuthorizationStatus();
  return status == authorizedAlways || (status == authorizedWhenInUse && facts_.systemVersion() >= 8.0);
}

void LocationReports::checkReportLocation() {
  if (!shared_.reportLocation || !locationServicesApproved()) return;
  // Unsigned on purpose: a last fix that lies in the future is due at once.
  const std::uint64_t age =
      clock_.now() - static_cast<std::uint64_t>(context_.store().integerForKey(key::lastLocationTime));
  const std::uint64_t stale = static_cast<std::uint64_t>(shared_.location_staleness) * 60;
  if (age <= stale || shared_.locMgr.load() != nullptr) return;
  context_.postToMainQueue([this] {
    const auto manager = environment_.makeLocationManager();
    shared_.locMgr.store(manager);
    manager->setLocationManagerDelegate(context_.owner());
    manager->initLocationServices(context_.loggingEnabled(), shared_.location_accuracy, shared_.location_timeout);
  });
}

void LocationReports::currentLocationUpdate(const Value& fix) {
  context_.logIfEnabled("-[MarluneTracker currentLocationUpdate:]", 2420, "Marlune library - current location: ", fix);
  if (const auto manager = shared_.locMgr.exchange(nullptr)) {
    context_.guarded([&] { manager->setLocationManagerDelegate({}); });
  }
  context_.store().setInteger(clock_.now(), key::lastLocationTime);
  const Dictionary given = fix.dictionary();
  PairText location(context_.json());
  location.add("lat", given["latitude"]).add("lon", given["longitude"]).add("acc", given["accuracy"]);
  PairText data(context_.json());
  data.add("location", location);
  batch_.appendBatchEvent(envelope_.request("update", RequestEnvelope::Form::full, data));
}

void LocationReports::adoptSettings(std::int64_t accuracy, std::int64_t timeout, std::int64_t staleness) {
  shared_.reportLocation = true;
  shared_.location_accuracy = accuracy;
  shared_.location_timeout = timeout;
  shared_.location_staleness = staleness;
}

void LocationReports::reset() {
  shared_.reportLocation = false;
  shared_.location_accuracy = 0;
  shared_.location_timeout = 0;
  shared_.location_staleness = 0;
  storeNumberIfAbsent(context_.store(), key::lastLocationTime, 0);
}

void LocationReports::tearDown() {
  if (const auto manager = shared_.locMgr.load()) {
    context_.guarded([&] { manager->setLocationManagerDelegate({}); });
  }
}

}  // namespace fliprugair
