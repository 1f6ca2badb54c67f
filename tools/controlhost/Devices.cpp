#include "tools/controlhost/Devices.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "tools/controlhost/Finding.h"

namespace fliprugair::controlhost {

namespace {

constexpr std::size_t mostDevices = 10000;
constexpr std::size_t mostSessions = 200;

/// Takes over a text that says something.
void adopt(std::string& member, const Value& value) {
  constexpr std::size_t longestText = 256;
  if (!value.text().empty()) member = shortened(value.text(), longestText);
}

}  // namespace

void Devices::note(const ReceivedRequest& request, const Value& body) {
  if (request.device.empty()) return;
  const std::lock_guard lock(mutex_);
  Device& device = devices_[request.device];
  if (device.requests++ == 0) device.first = request.received;
  device.last = request.received;
  device.records += request.records;
  device.change = ++change_;
  for (const Finding& finding : request.findings) ++device.findings[static_cast<std::size_t>(finding.severity)];
  for (const Value& record : body.isArray() ? body.array() : Array{body}) noteRecord(device, record, request.received);
  if (devices_.size() <= mostDevices) return;
  devices_.erase(std::min_element(devices_.begin(), devices_.end(), [](const auto& left, const auto& right) {
    return left.second.last < right.second.last;
  }));
}

void Devices::noteRecord(Device& device, const Value& record, double received) {
  const Dictionary members = record.dictionary();
  const Dictionary data = members["data"].dictionary();
  adopt(device.app, members["marlune_app_id"]);
  adopt(device.version, members["sdk_version"]);
  adopt(device.system, data["os_version"]);
  adopt(device.model, data["device"]);
  adopt(device.package, data["package_name"]);
  const Value sent = data["usertime"];
  const std::int64_t time = sent.isText() ? sent.integerValue() : static_cast<std::int64_t>(std::floor(received));
  if (members["action"].text() == "session") {
    noteSession(device, data, time);
  } else {
    ++openSession(device, time).records;
  }
}

Devices::Session& Devices::openSession(Device& device, std::int64_t time) {
  if (device.sessions.empty() || device.sessions.back().end) device.sessions.push_back({time, std::nullopt, 0});
  if (device.sessions.size() > mostSessions) device.sessions.pop_front();
  return device.sessions.back();
}

void Devices::noteSession(Device& device, const Dictionary& data, std::int64_t time) {
  const bool begins = data["state"].text() == "resume";
  if (begins && !device.sessions.empty() && !device.sessions.back().end && device.sessions.back().records > 0) {
    // What came before without a session of its own belongs to this one, unless it is older than the last pause.
    const std::int64_t last = device.sessions.back().start;
    if (time > last) device.sessions.back().end = time;
  }
  // A pause says how long its session was, should its begin have been missed.
  const std::int64_t uptime = std::clamp<std::int64_t>(data["uptime"].integerValue(), 0, std::int64_t{30} * 86400);
  Session& session = openSession(device, begins ? time : time - uptime);
  ++session.records;
  if (!begins) session.end = time;
}

Array Devices::json(std::int64_t since) const {
  const std::lock_guard lock(mutex_);
  std::vector<std::pair<double, Value>> found;
  for (const auto& [name, device] : devices_) {
    if (device.change > since) found.emplace_back(device.last, json(name, device));
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const auto& left, const auto& right) { return left.first > right.first; });
  std::vector<Value> list;
  list.reserve(found.size());
  for (auto& [last, device] : found) list.push_back(std::move(device));
  return Array(std::move(list));
}

Value Devices::json(const std::string& name, const Device& device) {
  std::vector<Value> sessions;
  for (const Session& session : device.sessions) {
    sessions.push_back(Value{
        {"start", session.start}, {"end", session.end ? Value(*session.end) : Value()}, {"records", session.records}});
  }
  const Value findings{{"error", device.findings[2]}, {"warning", device.findings[1]}, {"note", device.findings[0]}};
  return Value{{"device", name},
               {"app", device.app},
               {"first", device.first},
               {"last", device.last},
               {"requests", device.requests},
               {"records", device.records},
               {"findings", findings},
               {"system", device.system},
               {"model", device.model},
               {"sdk_version", device.version},
               {"package_name", device.package},
               {"sessions", Array(std::move(sessions))}};
}

std::int64_t Devices::change() const {
  const std::lock_guard lock(mutex_);
  return change_;
}

void Devices::clear() {
  const std::lock_guard lock(mutex_);
  devices_.clear();
  ++change_;
}

bool Devices::forget(const std::string& device) {
  const std::lock_guard lock(mutex_);
  ++change_;
  return devices_.erase(device) > 0;
}

}  // namespace fliprugair::controlhost
