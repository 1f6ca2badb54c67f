#include "Fliprugair/install/InstallReport.h"

#include "Fliprugair/core/Defaults.h"

namespace fliprugair {

namespace {

// The version text 7.1 lies just below 7.1 in single precision and still qualifies.
constexpr double searchAdSystemVersion = 7.0999;

}  // namespace

void InstallReport::initialEvent() {
  const InstallData::Report report = data_.gather();
  if (facts_.systemVersion() >= searchAdSystemVersion) {
    searchAd_.ask(report.data, report.watched);
    return;
  }
  const Value request = envelope_.request("initial", RequestEnvelope::Form::full, report.data);
  UserDefaults& store = context_.store();
  facts_.noteReportedProperties(report.watched);
  store.setBool(false, key::sendInitial);
  store.synchronize();
  requests_.enqueueAndSend(request);
}

void InstallReport::sendParked() {
  const Value parked = searchAd_.parkedRequest();
  if (parked.isNull()) return;
  sendInitial(parked);
  searchAd_.removeParkedRequest();
}

void InstallReport::sendInitial(const Value& request) {
  context_.store().setBool(false, key::sendInitial);
  if (requests_.firstInitReceived()) {
    requests_.enqueueAndSend(request);
  } else {
    // It waits in the network queue for an activation after the first init reply.
    requests_.enqueueMarluneEvent(request);
  }
}

void InstallReport::MarluneInitialResult(const Value& reply) {
  context_.logIfEnabled("-[MarluneTracker MarluneInitialResult:]", 1902, "Marlune library - initial result: ", reply);
  watch_.replayDeferred();
}

void InstallReport::storeDefaults() { storeBoolIfAbsent(context_.store(), key::sendInitial, true); }

}  // namespace fliprugair
