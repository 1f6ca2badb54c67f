// The search-ad answer that the install report waits for, the report's sending, and its reply.

#include <array>

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/core/ProcessState.h"
#include "Fliprugair/core/StoredKeys.h"

namespace fliprugair {

namespace {

struct CopiedDetail {
  std::string_view detail;
  std::string_view installKey;
};

constexpr std::array copiedDetails{
    CopiedDetail{"attributionDetails", "iad_attribution_details"},
    CopiedDetail{"iAdAttribution", "iad_attribution"},
    CopiedDetail{"appPurchaseDate", "app_purchase_date"},
    CopiedDetail{"iAdImpressionDate", "iad_impression_date"},
};

void stopIfValid(ProcessState::TimerReference& reference) {
  const auto timer = reference.load();
  if (timer == nullptr || !timer->isValid()) return;
  timer->invalidate();
  reference.store(nullptr);
}

}  // namespace

void MarluneTracker::takeSearchAdAnswer(const Value& details, bool unknown) {
  if (!searchAdAnswerIsFinal(unknown)) return;
  if (loggingEnabled()) {
    log("-[MarluneTracker iAdAttributionData::]", 1799,
        "Marlune library - iAdAttributionPayload: " + described(details));
  }
  const Dictionary parked = store().objectForKey(key::iAdAttribution_INITIAL_PASSTHROUGH).dictionary();
  store().removeObject(key::iAdAttribution_INITIAL_PASSTHROUGH);
  Value installData = parked["initialData"];
  if (installData.isDictionary()) {
    Dictionary merged = installData.dictionary();
    const Dictionary given = details.dictionary();
    for (const CopiedDetail& copied : copiedDetails) {
      if (const Value value = given[copied.detail]; !value.isNull()) merged = merged.setting(copied.installKey, value);
    }
    installData = merged;
  }
  store().setObject(installRequest(installData), key::initialPayload);
  store().setObject(parked["watchDictionary"], key::watchProperties);
  store().synchronize();
}

/// Counts the answer. The first that is known, or uses up the attempts, is final; what follows it is ignored.
bool MarluneTracker::searchAdAnswerIsFinal(bool unknown) {
  const std::lock_guard lock(monitor_);
  postToMainQueue([](MarluneTracker& self) {
    stopIfValid(self.state().retryiAdAttributionTimer);
    stopIfValid(self.state().iAdAttributionPayloadTimer);
  });
  if (state().iAdDelegateProcessed) return false;
  const std::int64_t attempts = ++state().iAdAttributionAttempts;
  if (attempts < store().integerForKey(key::iAdAttributionAttempts) && unknown) {
    state().triggerRetryiAdRetrieval = true;
    return false;
  }
  state().iAdDelegateProcessed = true;
  return true;
}

void MarluneTracker::iAdAttributionPayloadTimeout() { iAdAttributionData(nullptr, false); }

/// Only retries are given a time-out: the first question waits for its answer however long that takes.
void MarluneTracker::retryiAdAttribution() {
  {
    const std::lock_guard lock(monitor_);
    postToMainQueue([](MarluneTracker& self) { stopIfValid(self.state().retryiAdAttributionTimer); });
  }
  postToMainQueue([](MarluneTracker& self) {
    const auto wait = static_cast<double>(self.store().integerForKey(key::iAdAttributionWait));
    self.state().iAdAttributionPayloadTimer.store(
        self.schedule(wait, "iAdAttributionPayloadTimeout:", &MarluneTracker::iAdAttributionPayloadTimeout));
  });
  if (const auto manager = iAdAttributionManager()) manager->retrieveiAdAttribution(loggingEnabled());
}

void MarluneTracker::sendInitial(const Value& request) {
  store().setObject(false, key::sendInitial);
  const std::string eventTimestamp = enqueueMarluneEvent(request);
  // Before the first init reply it waits in the network queue for the next activation.
  if (store().boolForKey(key::firstInitReceived)) {
    send(request, eventTimestamp, Replies::delivered, invalidBackgroundTask);
  }
}

/// The reply itself is not judged: a failed report is resent from the network queue.
void MarluneTracker::takeInitialReply(const Value& reply) {
  if (loggingEnabled()) {
    log("-[MarluneTracker MarluneInitialResult:]", 1902, "Marlune library - initial result: " + described(reply));
  }
  replayDeferredWatchEvents();
}

}  // namespace fliprugair
