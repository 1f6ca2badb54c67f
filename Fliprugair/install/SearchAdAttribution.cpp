#include "Fliprugair/install/SearchAdAttribution.h"

#include <array>

#include "Fliprugair/core/Defaults.h"
#include "platform/PairList.h"

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

}  // namespace

void SearchAdAttribution::ask(const Dictionary& data, const Dictionary& watched) {
  context_.store().setObject(PairList().add("initialData", data).add("watchDictionary", watched).dictionary(),
                             key::iAdAttribution_INITIAL_PASSTHROUGH);
  context_.store().synchronize();
  shared_.iAdDelegateProcessed = false;
  context_.guarded([&] {
    const auto manager = environment_.makeRetrieveiAdAttribution();
    setManager(manager);
    manager->setIAdAttributionDelegate(context_.owner());
    manager->retrieveiAdAttribution(context_.loggingEnabled());
  });
}

void SearchAdAttribution::iAdAttributionData(const Value& details, bool unknown) {
  if (!isFinal(unknown)) return;
  context_.logIfEnabled("-[MarluneTracker iAdAttributionData::]", 1799,
                        "Marlune library - iAdAttributionPayload: ", details);
  park(context_.isTooDeep("-[MarluneTracker iAdAttributionData::]", 1803, details) ? Value() : details);
}

/// Counts the answer. The first that is known, or uses up the attempts, is final; what follows it is ignored.
bool SearchAdAttribution::isFinal(bool unknown) {
  const std::lock_guard lock(monitor_);
  context_.postToMainQueue([this] { shared_.stopTimers(); });
  if (shared_.iAdDelegateProcessed) return false;
  const std::int64_t attempts = ++shared_.iAdAttributionAttempts;
  if (attempts < context_.store().integerForKey(key::iAdAttributionAttempts) && unknown) {
    shared_.triggerRetryiAdRetrieval = true;
    return false;
  }
  shared_.iAdDelegateProcessed = true;
  return true;
}

void SearchAdAttribution::park(const Value& details) {
  UserDefaults& store = context_.store();
  const Dictionary waiting = store.objectForKey(key::iAdAttribution_INITIAL_PASSTHROUGH).dictionary();
  store.removeObject(key::iAdAttribution_INITIAL_PASSTHROUGH);
  Value installData = waiting["initialData"];
  if (installData.isDictionary()) {
    Dictionary merged = installData.dictionary();
    const Dictionary given = details.dictionary();
    for (const CopiedDetail& copied : copiedDetails) {
      if (const Value value = given[copied.detail]; !value.isNull()) merged = merged.setting(copied.installKey, value);
    }
    installData = merged;
  }
  store.setObject(envelope_.request("initial", RequestEnvelope::Form::full, installData), key::initialPayload);
  facts_.noteReportedProperties(waiting["watchDictionary"]);
  store.synchronize();
}

void SearchAdAttribution::armRetryIfDue() {
  if (!shared_.triggerRetryiAdRetrieval) return;
  context_.postToMainQueue([this] {
    const auto wait = static_cast<double>(context_.store().integerForKey(key::iAdRetryWait));
    context_.arm(shared_.retryiAdAttributionTimer, wait, "retryiAdAttribution:", [this] { retryiAdAttribution(); });
  });
  shared_.triggerRetryiAdRetrieval = false;
}

/// Only retries are given a time-out: the first question waits for its answer however long that takes.
void SearchAdAttribution::retryiAdAttribution() {
  {
    const std::lock_guard lock(monitor_);
    context_.postToMainQueue([this] { stop(shared_.retryiAdAttributionTimer); });
  }
  context_.postToMainQueue([this] {
    const auto wait = static_cast<double>(context_.store().integerForKey(key::iAdAttributionWait));
    context_.arm(shared_.iAdAttributionPayloadTimer, wait,
                 "iAdAttributionPayloadTimeout:", [this] { iAdAttributionPayloadTimeout(); });
  });
  if (const auto manager = manager_.load()) manager->retrieveiAdAttribution(context_.loggingEnabled());
}

void SearchAdAttribution::iAdAttributionPayloadTimeout() { iAdAttributionData(nullptr, false); }

void SearchAdAttribution::removeParkedRequest() {
  context_.store().removeObject(key::initialPayload);
  context_.store().synchronize();
}

void SearchAdAttribution::storeDefaults() {
  storeNumberIfAbsent(context_.store(), key::iAdAttributionAttempts, 3);
  storeNumberIfAbsent(context_.store(), key::iAdAttributionWait, 20);
  storeNumberIfAbsent(context_.store(), key::iAdRetryWait, 10);
}

void SearchAdAttribution::reset() {
  setManager(nullptr);
  shared_.iAdAttributionAttempts = 0;
  shared_.triggerRetryiAdRetrieval = false;
}

/// The task outlives the tracker, so it holds on to the process's state alone.
void SearchAdAttribution::tearDown(MainQueue& mainQueue, std::shared_ptr<Shared> shared) {
  const std::lock_guard lock(monitor_);
  mainQueue.async([shared = std::move(shared)] { shared->stopTimers(); });
}

}  // namespace fliprugair
