// The attribution result: waiting for the install report, asking, and delivering the answer.

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/core/ProcessState.h"
#include "Fliprugair/core/StoredKeys.h"
#include "platform/PairList.h"

namespace fliprugair {

namespace {

constexpr double checkInterval = 1.0;
constexpr double defaultRetryInterval = 60.0;
constexpr std::int64_t finalAnswer = -1;

}  // namespace

void MarluneTracker::armAttributionCheckTimer() {
  postToMainQueue([](MarluneTracker& self) {
    self.state().marluneAttributionCheckTimer.store(self.schedule(
        checkInterval, "marluneAttributionCheckTimerFired:", &MarluneTracker::marluneAttributionCheckTimerFired));
  });
}

void MarluneTracker::armAttributionTimer(double seconds) {
  postToMainQueue([seconds](MarluneTracker& self) {
    self.state().marluneAttributionTimer.store(
        self.schedule(seconds, "marluneAttributionTimerFired:", &MarluneTracker::marluneAttributionTimerFired));
  });
}

/// Once a second while the install report is pending; also where a due search-ad retry and a parked install request are
/// picked up.
void MarluneTracker::marluneAttributionCheckTimerFired() {
  if (state().triggerRetryiAdRetrieval) {
    postToMainQueue([](MarluneTracker& self) {
      const auto wait = static_cast<double>(self.store().integerForKey(key::iAdRetryWait));
      self.state().retryiAdAttributionTimer.store(
          self.schedule(wait, "retryiAdAttribution:", &MarluneTracker::retryiAdAttribution));
    });
    state().triggerRetryiAdRetrieval = false;
  }
  if (const Value parked = store().objectForKey(key::initialPayload); !parked.isNull()) {
    sendInitial(parked);
    store().removeObject(key::initialPayload);
    store().synchronize();
  }
  if (store().boolForKey(key::sendInitial)) {
    armAttributionCheckTimer();
  } else if (store().boolForKey(key::requestAttribution)) {
    armAttributionTimer(static_cast<double>(store().integerForKey(key::attributionWait)));
  }
}

void MarluneTracker::marluneAttributionTimerFired() {
  postToMainQueue([](MarluneTracker& self) {
    if (const auto timer = self.state().marluneAttributionTimer.exchange(nullptr)) timer->invalidate();
  });
  enqueueAndSend(PairList()
                     .add("marlune_device_id", store().objectForKey(key::deviceId))
                     .add("marlune_app_id", store().objectForKey(key::appId))
                     .add("action", "get_attribution")
                     .add("sdk_version", state().sdkVersion.load())
                     .add("sdk_protocol", "4")
                     .dictionary());
}

void MarluneTracker::takeAttributionReply(const Dictionary& reply) {
  if (!reply["success"].boolValue()) {
    armAttributionTimer(defaultRetryInterval);
    return;
  }
  const Value data = reply["data"];
  // Without data the polling ends until the next start or init reply.
  if (!data.isDictionary()) return;
  const std::int64_t retry = data.dictionary()["retry"].integerValue();
  if (retry == finalAnswer) {
    deliverAttribution(data.dictionary()["attribution"]);
  } else {
    armAttributionTimer(retry == 0 ? defaultRetryInterval : static_cast<double>(retry));
  }
}

/// The delegate is called on the thread that the reply came on.
void MarluneTracker::deliverAttribution(const Value& answer) {
  const Value attribution = answer.isDictionary() ? answer : Value(PairList().add("attribution", "false").dictionary());
  store().setObject(attribution, key::attribution);
  guarded([&] {
    if (const auto delegate = trackerDelegate()) delegate->Marlune_attributionResult(attribution);
  });
  store().setObject(false, key::requestAttribution);
  store().synchronize();
}

}  // namespace fliprugair
