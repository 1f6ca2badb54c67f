#pragma once

#include <cstdint>
#include <optional>

#include "Fliprugair/testing/Records.h"

namespace fliprugair {

// What travels to the control host, as plain values.

/// The event in a record; none when the record is of another kind.
std::optional<RecordedEvent> eventOf(const Value& record);
/// The events among the records of a batch; none in what is no batch.
RecordedEvents eventsOf(const Value& batch);
/// The URL in a record; none when the record is of another kind.
std::optional<RecordedDeepLink> deepLinkOf(const Value& record);
/// The dictionary of identities in a record; null when the record is of another kind.
Value identitiesOf(const Value& record);
/// "batch" of an array of records, else the request's action.
std::string nameOfRequest(const Value& payload);

}  // namespace fliprugair
