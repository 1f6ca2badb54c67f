#include "Fliprugair/handshake/Handshake.h"

#include "Fliprugair/core/Defaults.h"
#include "platform/Joined.h"

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

bool Handshake::isDue() const {
  // Unsigned on purpose: a clock set back before the last init yields a huge difference, and so a new init.
  const std::uint64_t sinceLastInit =
      clock_.now() - static_cast<std::uint64_t>(context_.store().integerForKey(key::lastMLInitSent));
  return sinceLastInit > static_cast<std::uint64_t>(settings_.initWait());
}

void Handshake::MarluneInitResult(const Value& given) {
  const Dictionary reply = given.dictionary();
  if (backOff(reply)) return;
  UserDefaults& store = context_.store();
  initRequest_.forget();
  if (!reportsSuccess(reply["success"])) {
    context_.logIfEnabled(replyMethod, 1203, "Marlune library - init command failed: ", given);
  }
  store.setInteger(clock_.now(), key::lastMLInitSent);
  store.synchronize();

  const Dictionary flags = reply["flags"].dictionary();
  settings_.adopt(reply, flags);
  location_.checkReportLocation();
  identity_.adoptCurrency(flags["currency"]);
  sessions_.adoptTracking(flags["session_tracking"]);
  requests_.noteInitReply();
  store.synchronize();
  if (attribution_.isRequested()) settings_.adoptAttributionWait(flags);
  if (const Value services = reply["outside_services"]; services.isDictionary()) {
    services_.determineOutsideServices(services.dictionary());
  }
  if (installReport_.isInstallReportDue()) {
    installReport_.initialEvent();
  } else {
    properties_.checkWatchPropertiesChanged();
  }
  startAttributionCheck();
}

/// Whether the control host asked, while the install report is pending, to be asked again later: then nothing else of
/// the reply counts, and the stored init request stays for the retry.
bool Handshake::backOff(const Dictionary& reply) {
  if (!installReport_.isInstallReportDue()) return false;
  if (!reply["msg"].array().containsText("resonance_cascade")) return false;
  const std::int32_t delay = nextBackOff(shared_.rcascadeTimerDelay);
  shared_.rcascadeTimerDelay = delay;
  // Written even while logging is off.
  context_.log(
      replyMethod, 1184,
      joined({"Marlune library - resonance_cascade received - will retry in ", signedText(delay), " seconds"}));
  context_.postToMainQueue([this] {
    context_.arm(shared_.rcascadeTimer, shared_.rcascadeTimerDelay,
                 "rcascadeTimerFired:", [this] { rcascadeTimerFired(); });
  });
  return true;
}

void Handshake::rcascadeTimerFired() { initRequest_.resend(); }

/// While the install report is unsent the check runs even if nobody asked for attribution: it also sends the report.
void Handshake::startAttributionCheck() {
  if (!installReport_.isInstallReportDue() && !attribution_.isMissing()) return;
  context_.logIfEnabled(replyMethod, 1467, "Marlune library - starting attribution timer (mlinit result)");
  attribution_.armCheckTimer();
}

void Handshake::storeDefaults() { storeNumberIfAbsent(context_.store(), key::lastMLInitSent, 0); }

void Handshake::reset() {
  shared_.rcascadeTimerDelay = 0;
  shared_.rcascadeTimer.store(nullptr);
}

}  // namespace fliprugair
