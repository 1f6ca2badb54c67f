#include <string>
#include <utility>

#include "Fliprugair/Fliprugair"
#include "Fliprugair/fliprugair.h"
#include "bindings/c/Calls.h"

using namespace fliprugair;

namespace {

/// A standard event as C describes it.
class NamedEvent final : public EventStandardParameters {
 public:
  NamedEvent(std::string name, Value data) : name_(std::move(name)), data_(std::move(data)) {}

  Text serverEventNameString() const override { return name_; }
  Value serverEventDataDictionary() const override { return data_; }

 private:
  const std::string name_;
  const Value data_;
};

template <class Call>
fliprugair_status onTracker(fliprugair_tracker* tracker, char** error, Call call) noexcept {
  return guarded(error, [&] {
    require(tracker, "tracker");
    call(*tracker->tracker);
  });
}

}  // namespace

fliprugair_status fliprugair_track_event(fliprugair_tracker* tracker, const char* title, const char* value,
                                         char** error) {
  return onTracker(tracker, error, [&](MarluneTracker& target) {
    require(title, "title");
    target.trackEvent(title, value);
  });
}

fliprugair_status fliprugair_track_marked_event(fliprugair_tracker* tracker, const char* title, const char* value,
                                                int standard, char** error) {
  return onTracker(tracker, error, [&](MarluneTracker& target) {
    require(title, "title");
    target.trackEventWithEventTitleString(title, value, standard != 0);
  });
}

fliprugair_status fliprugair_track_standard_event(fliprugair_tracker* tracker, const char* name, const char* data,
                                                  char** error) {
  return onTracker(tracker, error, [&](MarluneTracker& target) {
    require(name, "name");
    const NamedEvent event(name, data != nullptr ? dictionaryOf(data, "data") : Value());
    target.trackEventWithEventStandardParameters(&event);
  });
}

fliprugair_status fliprugair_track_purchase(fliprugair_tracker* tracker, const char* title, const char* value,
                                            const char* encoded_receipt, char** error) {
  return onTracker(tracker, error, [&](MarluneTracker& target) {
    require(title, "title");
    require(value, "value");
    require(encoded_receipt, "encoded_receipt");
    target.trackEvent(title, value, encoded_receipt);
  });
}

fliprugair_status fliprugair_track_spatial_event(fliprugair_tracker* tracker, const char* title, float x, float y,
                                                 float z, char** error) {
  return onTracker(tracker, error, [&](MarluneTracker& target) {
    require(title, "title");
    target.swiftSpatialEvent(Value(title), x, y, z);
  });
}

fliprugair_status fliprugair_identity_link(fliprugair_tracker* tracker, const char* identities, char** error) {
  return onTracker(tracker, error, [&](MarluneTracker& target) {
    target.swiftIdentityLinkEvent(Value(dictionaryOf(identities, "identities")));
  });
}

fliprugair_status fliprugair_deep_link(fliprugair_tracker* tracker, const char* url, const char* source_application,
                                       char** error) {
  return onTracker(tracker, error, [&](MarluneTracker& target) {
    require(url, "url");
    require(source_application, "source_application");
    target.swiftSendDeepLink(URL(Text(url)), Value(source_application));
  });
}

fliprugair_status fliprugair_limit_ad_tracking(fliprugair_tracker* tracker, int limited, char** error) {
  return onTracker(tracker, error, [&](MarluneTracker& target) { target.swiftSetLimitAdTracking(limited != 0); });
}

fliprugair_status fliprugair_enable_logging(fliprugair_tracker* tracker, int enabled, char** error) {
  return onTracker(tracker, error, [&](MarluneTracker& target) { target.swiftEnableConsoleLogging(enabled != 0); });
}

fliprugair_status fliprugair_handle_watch_events(fliprugair_tracker* tracker, const char* watch_link,
                                                 int called_by_track_event, char** error) {
  return onTracker(tracker, error, [&](MarluneTracker& target) {
    target.handleWatchEvents(watch_link != nullptr ? watch_link : "", called_by_track_event != 0);
  });
}

fliprugair_status fliprugair_track_watch_event(fliprugair_tracker* tracker, const char* title, const char* value,
                                               char** error) {
  return onTracker(tracker, error, [&](MarluneTracker& target) {
    require(title, "title");
    target.trackWatchEvent(title, value);
  });
}

fliprugair_status fliprugair_set_custom_id(fliprugair_tracker* tracker, const char* custom_id, char** error) {
  return onTracker(tracker, error, [&](MarluneTracker& target) { target.setCustomIdString(custom_id); });
}

char* fliprugair_custom_id(fliprugair_tracker* tracker, char** error) {
  char* result = nullptr;
  onTracker(tracker, error, [&](MarluneTracker& target) {
    const Value customId = target.customIdString();
    if (!customId.isNull()) result = copyOf(customId.text());
  });
  return result;
}

char* fliprugair_attribution(fliprugair_tracker* tracker, char** error) {
  char* result = nullptr;
  onTracker(tracker, error, [&](MarluneTracker& target) {
    const std::string text = target.swiftRetrieveAttribution();
    if (!text.empty()) result = copyOf(text);
  });
  return result;
}
