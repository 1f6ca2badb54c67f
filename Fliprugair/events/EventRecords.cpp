#include "Fliprugair/events/EventRecords.h"

#include <exception>

#include "Fliprugair/collaborators/MLDictionaryHelper.h"
#include "platform/Joined.h"

namespace fliprugair {

using Form = RequestEnvelope::Form;

void EventRecords::trackEvent(const Text& eventTitle, const Text& eventValue) {
  trackEventWithEventTitleString(eventTitle, eventValue, false);
}

void EventRecords::trackEventWithEventTitleString(const Text& eventTitleString, const Text& eventValueString,
                                                  bool standardBool) {
  if (refuses(eventTitleString, "-[MarluneTracker trackEventWithEventTitleString:eventValueString:standardBool:]",
              2150)) {
    return;
  }
  PairText data(json_);
  addEvent(data, eventTitleString, eventValueString);
  addCurrencyAndPosition(data);
  if (standardBool) data.set("event_standard", 1);
  append(data);
}

void EventRecords::trackEvent(const Text& eventTitle, const Text& eventValue, const Text& encodedReceipt) {
  if (refuses(eventTitle, "-[MarluneTracker trackEvent:withValue:andReceipt:]", 2198)) return;
  PairText data(json_);
  addEvent(data, eventTitle, eventValue);
  data.add("receipt", encodedReceipt.value());
  addCurrencyAndPosition(data);
  append(data);
}

void EventRecords::addEvent(PairText& data, const Text& eventTitle, const Text& eventValue) const {
  data.addSigned("usertime", clock_.now())
      .addSigned("uptime", clock_.uptime())
      .add("event_name", eventTitle.value())
      .add("event_data", eventValue.value());
}

void EventRecords::addCurrencyAndPosition(PairText& data) const {
  data.add("currency", identity_.currency()).add("geo_lat", context_.store().objectForKey(key::deviceLatitude));
  if (!data.hasEnded()) data.add("geo_long", context_.store().objectForKey(key::deviceLongitude));
}

void EventRecords::append(PairText& trackingData) {
  clock_.addUptimeDeltaAndLastPostTime(trackingData);
  batch_.appendBatchEvent(envelope_.request("event", Form::event, trackingData));
}

/// A forbidden title is dropped silently, a missing one with a log line.
bool EventRecords::refuses(const Text& eventTitle, std::string_view method, int line) const {
  if (!eventTitle.isNull()) return shared_.blacklistedEventNames.load().array().containsText(eventTitle.string());
  context_.logIfEnabled(method, line, "Marlune library - nil sent as eventTitle (cannot send)");
  return true;
}

void EventRecords::spatialEvent(const Text& eventTitle, float x, float y, float z) {
  if (eventTitle.isNull()) {
    context_.logIfEnabled("-[MarluneTracker spatialEvent::::]", 2252,
                          "Marlune library - spatialEvent eventTitle is nil");
    return;
  }
  PairText spatialData(json_);
  spatialData.add("event_name", eventTitle.value())
      .add("x", fixedText(x))
      .add("y", fixedText(y))
      .add("z", fixedText(z))
      .addSigned("usertime", clock_.now());
  clock_.addUptimeDeltaAndLastPostTime(spatialData);
  batch_.appendBatchEvent(envelope_.request("spatial", Form::brief, spatialData));
}

void EventRecords::identityLinkEvent(const Value& identityLinkData) {
  if (!identityLinkData.isDictionary()) {
    context_.logIfEnabled("-[MarluneTracker identityLinkEvent:]", 2287, "Marlune library - nil identityLinkData sent");
    return;
  }
  if (context_.isTooDeep("-[MarluneTracker identityLinkEvent:]", 2291, identityLinkData)) return;
  batch_.appendBatchEvent(envelope_.request("identityLink", Form::brief, identityLinkData));
}

void EventRecords::sendDeepLink(const URL& url, const Text& sourceApplication) {
  PairText data(json_);
  data.add("uri", url.absoluteString().text())
      .add("source_app", sourceApplication.string())
      .addSigned("usertime", clock_.now())
      .addSigned("uptime", clock_.uptime());
  clock_.addUptimeDeltaAndLastPostTime(data);
  batch_.appendBatchEvent(envelope_.request("deeplink", Form::brief, data));
}

void EventRecords::trackEventWithEventStandardParameters(const EventStandardParameters* eventStandardParameters) {
  eventNetworkTransactionWithEventStandardParameters(eventStandardParameters);
}

/// What the exception lines say is written even while logging is off.
void EventRecords::eventNetworkTransactionWithEventStandardParameters(
    const EventStandardParameters* eventStandardParameters) {
  constexpr std::string_view method = "-[MarluneTracker eventNetworkTransactionWithEventStandardParameters:]";
  if (eventStandardParameters == nullptr) {
    context_.log(method, 2318, "EXCEPTION - EventNetworkTransaction - Parameter eventStandardParameters not provided.");
    return;
  }
  try {
    const Text name = eventStandardParameters->serverEventNameString();
    eventNetworkTransactionWithNameString(name, eventStandardParameters->serverEventDataDictionary(), true);
  } catch (const std::exception& exception) {
    context_.log(method, 2341,
                 joined({"EXCEPTION (CAUGHT) 7d716099-1ff1-4cf5-baa4-5ea7490736be - ", exception.what()}));
  }
}

/// A structured event is a standard event, whatever the flag says.
void EventRecords::eventNetworkTransactionWithNameString(const Text& nameString, const Value& dataDictionary,
                                                         bool /*standardBool*/) {
  try {
    const Text dataJSONString = dataDictionary.isDictionary()
                                    ? MLDictionaryHelper::jsonStringWithDictionary(json_, dataDictionary, false)
                                    : Text();
    trackEventWithEventTitleString(nameString, dataJSONString, true);
  } catch (const std::exception& exception) {
    context_.log("-[MarluneTracker eventNetworkTransactionWithNameString:dataDictionary:standardBool:]", 2347,
                 joined({"EXCEPTION (CAUGHT) bd07d3ed-1531-4d61-a3fa-75e8cb616d47 - ", exception.what()}));
  }
}

void EventRecords::adoptBlacklist(const Value& names) {
  if (!names.isArray()) return;
  shared_.blacklistedEventNames.store(names);
  context_.store().setObject(names, key::blacklistedEventNames);
}

void EventRecords::restoreBlacklist() {
  if (const auto names = context_.store().arrayForKey(key::blacklistedEventNames)) {
    shared_.blacklistedEventNames.store(*names);
  }
}

void EventRecords::clearPosition() {
  for (const std::string_view position : {key::deviceLatitude, key::deviceLongitude}) {
    if (!context_.store().objectForKey(position).isNull()) context_.store().setObject("", position);
  }
}

}  // namespace fliprugair
