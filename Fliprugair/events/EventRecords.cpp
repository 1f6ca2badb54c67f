// The records that the host app's event calls become.

#include <exception>

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/collaborators/MLDictionaryHelper.h"
#include "Fliprugair/core/ProcessState.h"
#include "Fliprugair/core/StoredKeys.h"
#include "platform/PairList.h"

namespace fliprugair {

namespace {

/// Identity-link, spatial and deep-link records carry neither "sdk_version" nor "sdk_protocol".
Dictionary shortRecord(const UserDefaults& store, std::string_view action, const Value& data) {
  return PairList()
      .add("marlune_device_id", store.objectForKey(key::deviceId))
      .add("marlune_app_id", store.objectForKey(key::appId))
      .add("action", action)
      .add("data", data)
      .dictionary();
}

}  // namespace

void MarluneTracker::recordEvent(const Text& eventTitle, const Text& eventValue, bool standardBool) {
  if (refusesEvent(eventTitle, "-[MarluneTracker trackEventWithEventTitleString:eventValueString:standardBool:]",
                   2150)) {
    return;
  }
  Dictionary trackingData = PairList()
                                .add("usertime", currentLocalTime())
                                .add("uptime", returnUptime())
                                .add("event_name", eventTitle.value())
                                .add("event_data", eventValue.value())
                                .add("currency", store().objectForKey(key::currency))
                                .add("geo_lat", store().objectForKey(key::deviceLatitude))
                                .add("geo_long", store().objectForKey(key::deviceLongitude))
                                .dictionary();
  if (standardBool) trackingData = trackingData.setting("event_standard", 1);
  appendEventRecord(std::move(trackingData));
}

void MarluneTracker::recordReceiptEvent(const Text& eventTitle, const Text& eventValue, const Text& encodedReceipt) {
  if (refusesEvent(eventTitle, "-[MarluneTracker trackEvent:withValue:andReceipt:]", 2198)) return;
  appendEventRecord(PairList()
                        .add("usertime", currentLocalTime())
                        .add("uptime", returnUptime())
                        .add("event_name", eventTitle.value())
                        .add("event_data", eventValue.value())
                        .add("receipt", encodedReceipt.value())
                        .add("currency", store().objectForKey(key::currency))
                        .add("geo_lat", store().objectForKey(key::deviceLatitude))
                        .add("geo_long", store().objectForKey(key::deviceLongitude))
                        .dictionary());
}

void MarluneTracker::appendEventRecord(Dictionary trackingData) {
  addUptimeDeltaAndLastPostTime(trackingData);
  appendBatchEvent(PairList()
                       .add("marlune_device_id", store().objectForKey(key::deviceId))
                       .add("marlune_app_id", store().objectForKey(key::appId))
                       .add("action", "event")
                       .add("sdk_version", state().sdkVersion.load())
                       .add("sdk_protocol", "4")
                       .add("data", trackingData)
                       .dictionary());
}

/// A forbidden title is dropped silently, a missing one with a log line.
bool MarluneTracker::refusesEvent(const Text& eventTitle, std::string_view method, int line) const {
  if (!eventTitle.isNull() && state().blacklistedEventNames.load().array().containsText(eventTitle.string())) {
    return true;
  }
  if (!eventTitle.isNull()) return false;
  if (loggingEnabled()) log(method, line, "Marlune library - nil sent as eventTitle (cannot send)");
  return true;
}

/// Reading the delta moves its reference point, so this is called once for each record that reports it.
void MarluneTracker::addUptimeDeltaAndLastPostTime(Dictionary& data) {
  const std::string delta = returnAndSetUptimeDelta();
  if (integerOfText<std::int64_t>(delta) > 0) data = data.setting("updelta", delta);
  const Value lastPostTime = store().objectForKey(key::lastPostTime);
  if (lastPostTime.integerValue() > 0) data = data.setting("last_post_time", lastPostTime);
}

void MarluneTracker::recordSpatialEvent(const Text& eventTitle, float x, float y, float z) {
  if (eventTitle.isNull()) {
    if (loggingEnabled()) {
      log("-[MarluneTracker spatialEvent::::]", 2252, "Marlune library - spatialEvent eventTitle is nil");
    }
    return;
  }
  Dictionary spatialData = PairList()
                               .add("event_name", eventTitle.value())
                               .add("x", fixedText(x))
                               .add("y", fixedText(y))
                               .add("z", fixedText(z))
                               .add("usertime", currentLocalTime())
                               .dictionary();
  addUptimeDeltaAndLastPostTime(spatialData);
  appendBatchEvent(shortRecord(store(), "spatial", spatialData));
}

void MarluneTracker::recordIdentityLink(const Value& identityLinkData) {
  if (!identityLinkData.isDictionary()) {
    if (loggingEnabled()) {
      log("-[MarluneTracker identityLinkEvent:]", 2287, "Marlune library - nil identityLinkData sent");
    }
    return;
  }
  appendBatchEvent(shortRecord(store(), "identityLink", identityLinkData));
}

void MarluneTracker::recordDeepLink(const URL& url, const Text& sourceApplication) {
  Dictionary data = PairList()
                        .add("uri", url.absoluteString().text())
                        .add("source_app", sourceApplication.string())
                        .add("usertime", currentLocalTime())
                        .add("uptime", returnUptime())
                        .dictionary();
  addUptimeDeltaAndLastPostTime(data);
  appendBatchEvent(shortRecord(store(), "deeplink", data));
}

/// What the exception lines say is written even while logging is off.
void MarluneTracker::eventNetworkTransactionWithEventStandardParameters(
    const EventStandardParameters* eventStandardParameters) {
  constexpr std::string_view method = "-[MarluneTracker eventNetworkTransactionWithEventStandardParameters:]";
  if (eventStandardParameters == nullptr) {
    log(method, 2318, "EXCEPTION - EventNetworkTransaction - Parameter eventStandardParameters not provided.");
    return;
  }
  try {
    const Text name = eventStandardParameters->serverEventNameString();
    eventNetworkTransactionWithNameString(name, eventStandardParameters->serverEventDataDictionary(), true);
  } catch (const std::exception& exception) {
    log(method, 2341, std::string("EXCEPTION (CAUGHT) 7d716099-1ff1-4cf5-baa4-5ea7490736be - ") + exception.what());
  }
}

/// A structured event is a standard event, whatever the flag says.
void MarluneTracker::eventNetworkTransactionWithNameString(const Text& nameString, const Value& dataDictionary,
                                                           bool /*standardBool*/) {
  try {
    const Text dataJSONString = dataDictionary.isDictionary() ? MLDictionaryHelper::jsonStringWithDictionary(
                                                                    platform().json(), dataDictionary, false)
                                                              : Text();
    recordEvent(nameString, dataJSONString, true);
  } catch (const std::exception& exception) {
    log("-[MarluneTracker eventNetworkTransactionWithNameString:dataDictionary:standardBool:]", 2347,
        std::string("EXCEPTION (CAUGHT) bd07d3ed-1531-4d61-a3fa-75e8cb616d47 - ") + exception.what());
  }
}

}  // namespace fliprugair
