#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Fliprugair/controlhost/ReceivedRequest.h"
#include "Fliprugair/platform/Value.h"

namespace fliprugair::controlhost {

/// Fills in what is read from the body.
void describe(ReceivedRequest& request, const Value& body);

/// What a record is, in a few words: its action, and for an event its name.
std::string recordName(const Value& record);

/// Where its reply broke off, in words; "" when it did not.
std::string cutOf(const ReceivedRequest& request);

// The forms in which the host shows them.
Value summaryOf(const ReceivedRequest& request);
Value wholeOf(const ReceivedRequest& request);
/// What those who follow are told of it.
Value newsOf(const ReceivedRequest& request);
Value recordOf(const ReceivedRequest& request, const Value& record, std::int64_t index);
Array recordsOf(const ReceivedRequest& request);

/// Bytes as JSON; nothing when they are none, or not UTF-8, of which a reader would only guess what was meant.
std::optional<Value> jsonIn(const std::string& bytes);
/// Of bytes: their number, base64, text and JSON as far as they are such; without `isRead` no JSON.
Value bytesOf(const std::string& bytes, bool isRead = true);

}  // namespace fliprugair::controlhost
