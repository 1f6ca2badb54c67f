#include "Fliprugair/attribution/AttributionPoll.h"

#include "platform/PairList.h"

namespace fliprugair {

namespace {

constexpr double checkInterval = 1.0;
constexpr double defaultRetryInterval = 60.0;
constexpr std::int64_t finalAnswer = -1;

}  // namespace

std::string AttributionPoll::retrieveAttributionText() const {
  const Value attribution = retrieveAttribution();
  return attribution.isDictionary() ? json_.text(attribution).value_or("") : "";
}

void AttributionPoll::armCheckTimer() {
  context_.postToMainQueue([this] {
    context_.arm(shared_.marluneAttributionCheckTimer, checkInterval,
                 "marluneAttributionCheckTimerFired:", [this] { marluneAttributionCheckTimerFired(); });
  });
}

void AttributionPoll::armTimer(double seconds) {
  context_.postToMainQueue([this, seconds] {
    context_.arm(shared_.marluneAttributionTimer, seconds,
                 "marluneAttributionTimerFired:", [this] { marluneAttributionTimerFired(); });
  });
}

/// Also where a due search-ad retry and a parked install request are picked up.
void AttributionPoll::marluneAttributionCheckTimerFired() {
  searchAd_.armRetryIfDue();
  installReport_.sendParked();
  if (installReport_.isInstallReportDue()) {
    armCheckTimer();
  } else if (isRequested()) {
    armTimer(static_cast<double>(context_.store().integerForKey(key::attributionWait)));
  }
}

void AttributionPoll::marluneAttributionTimerFired() {
  context_.postToMainQueue([this] { stop(shared_.marluneAttributionTimer); });
  requests_.enqueueAndSend(envelope_.request("get_attribution", RequestEnvelope::Form::question));
}

void AttributionPoll::MarluneRetrieveAttribution(const Dictionary& reply) {
  if (!reply["success"].boolValue()) {
    armTimer(defaultRetryInterval);
    return;
  }
  const Value data = reply["data"];
  // Without data the polling ends until the next start or init reply.
  if (!data.isDictionary()) return;
  const std::int64_t retry = data.dictionary()["retry"].integerValue();
  if (retry == finalAnswer) {
    deliver(data.dictionary()["attribution"]);
  } else {
    armTimer(retry == 0 ? defaultRetryInterval : static_cast<double>(retry));
  }
}

/// The delegate is called on the thread that the reply came on.
void AttributionPoll::deliver(const Value& answer) {
  UserDefaults& store = context_.store();
  const Value attribution = answer.isDictionary() ? answer : Value(PairList().add("attribution", "false").dictionary());
  store.setObject(attribution, key::attribution);
  context_.guarded([&] {
    if (const auto delegate = trackerDelegate()) delegate->Marlune_attributionResult(attribution);
  });
  store.setBool(false, key::requestAttribution);
  store.synchronize();
}

void AttributionPoll::storeRequest(bool wanted) {
  context_.store().setBool(wanted && retrieveAttribution().isNull(), key::requestAttribution);
}

void AttributionPoll::adoptWait(std::int64_t seconds) {
  context_.store().setInteger(seconds, key::attributionWait);
  context_.store().synchronize();
}

void AttributionPoll::reset() {
  shared_.marluneAttributionCheckTimer.store(nullptr);
  shared_.marluneAttributionTimer.store(nullptr);
}

}  // namespace fliprugair
