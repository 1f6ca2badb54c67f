// The reply to the init request, and the back-off that it may ask for.

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/core/ProcessState.h"
#include "Fliprugair/core/StoredKeys.h"

namespace fliprugair {

namespace {

constexpr std::string_view replyMethod = "-[MarluneTracker MarluneInitResult:]";

std::int32_t nextBackOff(std::int32_t seconds) {
  switch (seconds) {
    case 0:
      return 10;
    case 10:
      return 20;
    case 20:
      return 30;
    default:
      return 60;
  }
}

/// Whether the value, written as text, is "1".
bool reportsSuccess(const Value& success) {
  return success.isNumber() ? success.realValue() == 1.0 : success == Value("1");
}

}  // namespace

void MarluneTracker::takeInitReply(const Value& given) {
  const Dictionary reply = given.dictionary();
  if (backOff(reply)) return;
  store().removeObject(key::INIT_PAYLOAD);
  if (!reportsSuccess(reply["success"]) && loggingEnabled()) {
    log(replyMethod, 1203, "Marlune library - init command failed: " + described(given));
  }
  store().setInteger(now(), key::lastMLInitSent);
  store().synchronize();

  const Dictionary flags = reply["flags"].dictionary();
  adoptSettings(reply, flags);
  checkReportLocation();
  adoptCurrencyAndSessionTracking(flags);
  store().setObject(true, key::firstInitReceived);
  store().synchronize();
  if (store().boolForKey(key::requestAttribution)) adoptAttributionWait(flags);
  if (const Value services = reply["outside_services"]; services.isDictionary()) {
    determineOutsideServices(services.dictionary());
  }
  if (store().boolForKey(key::sendInitial)) {
    initialEvent();
  } else {
    checkWatchPropertiesChanged();
  }
  startAttributionCheckAfterInit();
}

/// Whether the control host asked, while the install report is pending, to be asked again later: then nothing else of
/// the reply counts, and the stored init request stays for the retry.
bool MarluneTracker::backOff(const Dictionary& reply) {
  if (!store().boolForKey(key::sendInitial)) return false;
  if (!reply["msg"].array().containsText("resonance_cascade")) return false;
  const std::int32_t delay = nextBackOff(state().rcascadeTimerDelay);
  state().rcascadeTimerDelay = delay;
  // Written even while logging is off.
  log(replyMethod, 1184,
      "Marlune library - resonance_cascade received - will retry in " + std::to_string(delay) + " seconds");
  postToMainQueue([](MarluneTracker& self) {
    self.state().rcascadeTimer.store(
        self.schedule(self.state().rcascadeTimerDelay, "rcascadeTimerFired:", &MarluneTracker::rcascadeTimerFired));
  });
  return true;
}

void MarluneTracker::rcascadeTimerFired() {
  const Value request = store().objectForKey(key::INIT_PAYLOAD);
  if (request.isDictionary()) send(request, nullptr, Replies::delivered, invalidBackgroundTask);
}

/// While the install report is unsent the check runs even if nobody asked for attribution: it also sends the report.
void MarluneTracker::startAttributionCheckAfterInit() {
  const bool attributionIsMissing = store().boolForKey(key::requestAttribution) && retrieveAttribution().isNull();
  if (!store().boolForKey(key::sendInitial) && !attributionIsMissing) return;
  if (loggingEnabled()) log(replyMethod, 1467, "Marlune library - starting attribution timer (mlinit result)");
  armAttributionCheckTimer();
}

}  // namespace fliprugair
