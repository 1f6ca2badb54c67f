#include "Fliprugair/testing/TrackerDouble.h"

#include <exception>
#include <mutex>
#include <utility>

#include "Fliprugair/MarluneTrackerClientDelegate.h"
#include "Fliprugair/collaborators/EventStandardParameters.h"
#include "Fliprugair/collaborators/MarluneRetrieveiAdAttribution.h"
#include "platform/json/RapidJSONSerialization.h"

namespace fliprugair {

struct TrackerDouble::Parts {
  mutable std::mutex mutex;
  std::vector<std::string> calls;
  RecordedEvents events;
  std::vector<Value> identityLinks;
  std::vector<RecordedDeepLink> deepLinks;
  std::vector<std::string> watchLinks;
  std::optional<bool> limitAdTracking;
  Value attribution;
  Value customIdString;
  std::weak_ptr<MarluneTrackerClientDelegate> delegate;
  std::shared_ptr<MarluneRetrieveiAdAttribution> manager;

  template <class Result>
  Result read(Result Parts::*member) const {
    const std::lock_guard lock(mutex);
    return this->*member;
  }

  template <class Note>
  void called(const char* name, Note note) {
    const std::lock_guard lock(mutex);
    calls.emplace_back(name);
    note(*this);
  }

  void recorded(const char* name, const Text& title, RecordedEvent event) {
    called(name, [&](Parts& parts) {
      if (title.isNull()) return;
      event.title = title.string();
      parts.events.push_back(std::move(event));
    });
  }
};

namespace {

std::optional<std::string> optional(const Text& text) {
  return text.isNull() ? std::nullopt : std::optional(text.string());
}

RecordedEvent eventWith(const Text& value) {
  RecordedEvent event;
  event.value = optional(value);
  return event;
}

}  // namespace

TrackerDouble::TrackerDouble() : parts_(std::make_unique<Parts>()) {}

TrackerDouble::~TrackerDouble() = default;

std::vector<std::string> TrackerDouble::calls() const { return parts_->read(&Parts::calls); }
RecordedEvents TrackerDouble::events() const { return parts_->read(&Parts::events); }
std::vector<Value> TrackerDouble::identityLinks() const { return parts_->read(&Parts::identityLinks); }
std::vector<RecordedDeepLink> TrackerDouble::deepLinks() const { return parts_->read(&Parts::deepLinks); }
std::vector<std::string> TrackerDouble::watchLinks() const { return parts_->read(&Parts::watchLinks); }
std::optional<bool> TrackerDouble::limitAdTracking() const { return parts_->read(&Parts::limitAdTracking); }

void TrackerDouble::setAttribution(const Value& attribution) {
  std::shared_ptr<MarluneTrackerClientDelegate> delegate;
  {
    const std::lock_guard lock(parts_->mutex);
    parts_->attribution = attribution;
    delegate = parts_->delegate.lock();
  }
  if (delegate != nullptr) delegate->Marlune_attributionResult(attribution);
}

void TrackerDouble::enableConsoleLogging(bool /*enabled*/) {
  parts_->called("enableConsoleLogging", [](Parts&) {});
}

void TrackerDouble::trackEvent(const Text& eventTitle, const Text& eventValue) {
  parts_->recorded("trackEvent", eventTitle, eventWith(eventValue));
}

void TrackerDouble::trackEvent(const Text& eventTitle, const Text& eventValue, const Text& encodedReceipt) {
  RecordedEvent event = eventWith(eventValue);
  event.receipt = optional(encodedReceipt);
  parts_->recorded("trackEvent", eventTitle, std::move(event));
}

void TrackerDouble::trackEventWithEventTitleString(const Text& eventTitleString, const Text& eventValueString,
                                                   bool standardBool) {
  RecordedEvent event = eventWith(eventValueString);
  event.standard = standardBool;
  parts_->recorded("trackEventWithEventTitleString", eventTitleString, std::move(event));
}

void TrackerDouble::trackEventWithEventStandardParameters(const EventStandardParameters* eventStandardParameters) {
  Text title;
  RecordedEvent event;
  event.standard = true;
  if (eventStandardParameters != nullptr) {
    try {
      const Value data = eventStandardParameters->serverEventDataDictionary();
      if (data.isDictionary()) event.value = RapidJSONSerialization().text(data);
      title = eventStandardParameters->serverEventNameString();
    } catch (const std::exception&) {
      title = nullptr;  // the tracker records nothing then
    }
  }
  parts_->recorded("trackEventWithEventStandardParameters", title, std::move(event));
}

void TrackerDouble::identityLinkEvent(const Value& identityLinkData) {
  parts_->called("identityLinkEvent", [&](Parts& parts) {
    if (identityLinkData.isDictionary()) parts.identityLinks.push_back(identityLinkData);
  });
}

void TrackerDouble::spatialEvent(const Text& eventTitle, float x, float y, float z) {
  RecordedEvent event;
  event.place = RecordedEvent::Place{x, y, z};
  parts_->recorded("spatialEvent", eventTitle, std::move(event));
}

void TrackerDouble::sendDeepLink(const URL& url, const Text& sourceApplication) {
  parts_->called("sendDeepLink", [&](Parts& parts) {
    parts.deepLinks.push_back({url.absoluteString().text(), sourceApplication.string()});
  });
}

void TrackerDouble::setLimitAdTracking(bool limitAdTracking) {
  parts_->called("setLimitAdTracking", [&](Parts& parts) { parts.limitAdTracking = limitAdTracking; });
}

Value TrackerDouble::retrieveAttribution() const {
  Value attribution;
  parts_->called("retrieveAttribution", [&](Parts& parts) { attribution = parts.attribution; });
  return attribution;
}

void TrackerDouble::handleWatchEvents() { handleWatchEvents(""); }

void TrackerDouble::handleWatchEvents(const Text& watchLink) { handleWatchEvents(watchLink, false); }

void TrackerDouble::handleWatchEvents(const Text& watchLink, bool /*calledByTrackEvent*/) {
  parts_->called("handleWatchEvents", [&](Parts& parts) { parts.watchLinks.push_back(watchLink.string()); });
}

void TrackerDouble::trackWatchEvent(const Text& eventTitle, const Text& eventValue) {
  parts_->recorded("trackWatchEvent", eventTitle, eventWith(eventValue));
}

std::shared_ptr<MarluneTrackerClientDelegate> TrackerDouble::trackerDelegate() const {
  return parts_->read(&Parts::delegate).lock();
}

void TrackerDouble::setTrackerDelegate(const std::shared_ptr<MarluneTrackerClientDelegate>& delegate) {
  parts_->called("setTrackerDelegate", [&](Parts& parts) { parts.delegate = delegate; });
}

Value TrackerDouble::customIdString() const { return parts_->read(&Parts::customIdString); }

void TrackerDouble::setCustomIdString(const Text& customIdString) {
  parts_->called("setCustomIdString", [&](Parts& parts) { parts.customIdString = customIdString.value(); });
}

std::shared_ptr<MarluneRetrieveiAdAttribution> TrackerDouble::iAdAttributionManager() const {
  return parts_->read(&Parts::manager);
}

void TrackerDouble::setIAdAttributionManager(std::shared_ptr<MarluneRetrieveiAdAttribution> manager) {
  parts_->called("setIAdAttributionManager", [&](Parts& parts) { parts.manager.swap(manager); });
}

}  // namespace fliprugair
