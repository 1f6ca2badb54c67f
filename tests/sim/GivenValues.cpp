#include "GivenValues.h"

#include <algorithm>
#include <array>
#include <utility>

namespace fliprugair::sim {

namespace {

const std::string prefix = "com.marlune.MarluneTracker.";

/// Stored keys, and the members of a record in which their values stand.
constexpr std::array<std::pair<const char*, const char*>, 6> sentAsStored{{{"appId", "marlune_app_id"},
                                                                           {"deviceId", "marlune_device_id"},
                                                                           {"origDeviceId", "marlune_device_id"},
                                                                           {"currency", "currency"},
                                                                           {"deviceLatitude", "geo_lat"},
                                                                           {"deviceLongitude", "geo_long"}}};

/// A record, and what stands for it where there should be one; without the identifier, which is always the device's.
Dictionary bare(const Value& record) { return record.dictionary().removing("marlune_device_id"); }

bool holds(const std::vector<Value>& values, const Value& value) {
  return std::find(values.begin(), values.end(), value) != values.end();
}

}  // namespace

void GivenValues::note(const Dictionary& command) {
  const std::string& method = command["method"].text();
  if (method == "enqueueMarluneEvent:" || method == "appendBatchEvent:") addRecords(command["args"]);
  const Dictionary stored = command["set"].dictionary();
  addRecords(stored);
  for (const auto& [key, member] : sentAsStored) add(member, stored[prefix + key]);
  for (const char* key : {"iAdAttribution_INITIAL_PASSTHROUGH", "initialPayload"}) {
    wroteInstallation_ =
        wroteInstallation_ || stored.holds(prefix + key) || command["remove"].array().containsText(prefix + key);
  }
  const Dictionary flags = command["body"].dictionary()["flags"].dictionary();
  for (const char* member : {"marlune_app_id", "marlune_device_id", "currency"}) add(member, flags[member]);
  const double time = command["now"].realValue();
  if (time < 0 || time > 1e18) add("usertime", "-1");
}

Value GivenValues::without(const Value& payload) const {
  if (payload.isNull()) return {};  // a flush of no queue
  if (!payload.isArray()) return isGiven(payload) ? Value() : Value(withUsual(payload.dictionary()));
  std::vector<Value> batch;
  for (const Value& record : payload.array()) {
    if (!isGiven(record)) batch.push_back(withUsual(record.dictionary()));
  }
  return batch.empty() ? Value() : Value(Array(std::move(batch)));
}

bool GivenValues::isGiven(const Value& record) const {
  const bool isInstallation = record.dictionary()["action"] == Value("initial");
  return (wroteInstallation_ && isInstallation) || holds(records_, bare(record));
}

void GivenValues::add(const std::string& member, const Value& value) {
  if (!value.isNull()) values_[member].push_back(value);
}

/// With all that stands in it: queues, requests and single records.
void GivenValues::addRecords(const Value& value) {
  if (value.isNull()) return;
  records_.push_back(bare(value));
  const Array items = value.array();
  for (const Value& item : items) addRecords(item);
  const Dictionary members = value.dictionary();
  for (const Dictionary::Entry& entry : members.entries()) addRecords(entry.value);
}

Dictionary GivenValues::withUsual(const Dictionary& record) const {
  Dictionary result = withUsualMembers(record);
  for (const char* part : {"data", "data_orig"}) {
    if (result[part].isDictionary()) result = result.setting(part, withUsualMembers(result[part].dictionary()));
  }
  return result;
}

Dictionary GivenValues::withUsualMembers(Dictionary members) const {
  static const std::map<std::string, Value> usual{{"marlune_app_id", "demo"}, {"marlune_device_id", "MI1"},
                                                  {"currency", "usd"},        {"geo_lat", 1.5},
                                                  {"geo_long", 1.5},          {"usertime", "1700000000"}};
  for (const auto& [member, values] : values_) {
    if (holds(values, members[member])) members = members.setting(member, usual.at(member));
  }
  return members;
}

}  // namespace fliprugair::sim
