#include "platform/linux/StoredReports.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

#include "Fliprugair/collaborators/MarluneNetworkAccess.h"
#include "platform/Counted.h"
#include "platform/ReferenceDate.h"

namespace fliprugair {

namespace {

// As the trackers store them.
constexpr std::string_view sendInitial = "com.marlune.MarluneTracker.sendInitial";
constexpr std::string_view initialPayload = "com.marlune.MarluneTracker.initialPayload";
constexpr std::string_view batchEventQueue = "com.marlune.marluneTracker.batchEventQueue";

std::int64_t secondOfRecord(const Value& record) {
  return record.dictionary()["data"].dictionary()["usertime"].integerValue();
}

std::int64_t secondOfRequest(const Dictionary::Entry& request) {
  const std::int64_t made = Value(request.key()).integerValue() + referenceDate;
  const Array records = request.value.array();
  if (records.empty()) return made;
  const std::int64_t first = secondOfRecord(records[0]);
  return first > 0 ? std::min(first, made) : made;
}

}  // namespace

std::string Waiting::text() const {
  std::string text;
  const auto add = [&text](const std::string& part) { text += (text.empty() ? "" : ", ") + part; };
  if (installReport) add("the install report");
  if (records > 0) add(counted(records, "record"));
  if (requests > 0) add(counted(requests, "request"));
  return text;
}

bool StoredReports::isInstallReportDue() const {
  return store_.boolForKey(sendInitial) || !store_.objectForKey(initialPayload).isNull();
}

bool StoredReports::areAllConfirmed() const {
  return !isInstallReportDue() && store_.objectForKey(batchEventQueue).array().empty() &&
         store_.objectForKey(key::networkQueue).dictionary().empty();
}

bool StoredReports::areReadyToFlush() const {
  return !isInstallReportDue() && !store_.objectForKey(batchEventQueue).array().empty();
}

Waiting StoredReports::waiting(const JSONSerialization& json) const {
  const Value records = store_.objectForKey(batchEventQueue);
  const Value requests = store_.objectForKey(key::networkQueue);
  Waiting waiting;
  waiting.installReport = isInstallReportDue();
  std::int64_t oldest = 0;
  const auto count = [&](std::size_t& kind, const Value& value, std::int64_t second) {
    waiting.bytes += json.textOfAny(value).size();
    ++kind;
    if (second > 0 && (oldest == 0 || second < oldest)) oldest = second;
  };
  for (const Value& record : records.array()) count(waiting.records, record, secondOfRecord(record));
  for (const auto& request : requests.dictionary().entries()) {
    try {
      count(waiting.requests, request.value, secondOfRequest(request));
    } catch (const std::exception&) {
      ++waiting.requests;  // the store cannot read it just now, so its size is not known
    }
  }
  if (oldest > 0) waiting.oldest = std::chrono::system_clock::time_point(std::chrono::seconds(oldest));
  return waiting;
}

}  // namespace fliprugair
