#include "platform/testing/WireRecords.h"

#include "Fliprugair/platform/Text.h"

namespace fliprugair {

namespace {

std::string actionOf(const Value& record) { return record.dictionary()["action"].text(); }

Dictionary dataOf(const Value& record) { return record.dictionary()["data"].dictionary(); }

std::optional<std::string> textIn(const Dictionary& data, std::string_view key) {
  const Value value = data[key];
  return value.isText() ? std::optional(value.text()) : std::nullopt;
}

/// Coordinates travel as text.
double numberIn(const Dictionary& data, std::string_view key) { return floatOfText(data[key].text()); }

}  // namespace

std::optional<RecordedEvent> eventOf(const Value& record) {
  const Dictionary data = dataOf(record);
  RecordedEvent event;
  event.title = data["event_name"].text();
  if (actionOf(record) == "spatial") {
    event.place = RecordedEvent::Place{numberIn(data, "x"), numberIn(data, "y"), numberIn(data, "z")};
    return event;
  }
  if (actionOf(record) != "event") return std::nullopt;
  event.value = textIn(data, "event_data");
  event.receipt = textIn(data, "receipt");
  event.standard = data.holds("event_standard");
  return event;
}

RecordedEvents eventsOf(const Value& batch) {
  RecordedEvents events;
  for (const Value& record : batch.array()) {
    if (auto event = eventOf(record)) events.push_back(std::move(*event));
  }
  return events;
}

std::optional<RecordedDeepLink> deepLinkOf(const Value& record) {
  if (actionOf(record) != "deeplink") return std::nullopt;
  const Dictionary data = dataOf(record);
  return RecordedDeepLink{data["uri"].text(), data["source_app"].text()};
}

Value identitiesOf(const Value& record) {
  return actionOf(record) == "identityLink" ? record.dictionary()["data"] : Value();
}

std::string nameOfRequest(const Value& payload) { return payload.isArray() ? "batch" : actionOf(payload); }

}  // namespace fliprugair
