#include "tools/controlhost/Faults.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "tools/controlhost/Finding.h"

namespace fliprugair::controlhost {

namespace {

constexpr std::array<std::string_view, 7> kindNames{"status",       "delay",    "hang",   "reset_before",
                                                    "reset_during", "truncate", "garbage"};

/// Of requests. "" stands for all.
constexpr std::array<std::string_view, 6> actions{"", "init", "initial", "update", "get_attribution", "batch"};

std::string_view nameOf(Fault::Kind kind) { return kindNames[static_cast<std::size_t>(kind)]; }

bool matches(const Fault& fault, const ReceivedRequest& request) {
  return (fault.action.empty() || fault.action == request.action) &&
         (fault.device.empty() || fault.device == request.device) && (fault.app.empty() || fault.app == request.app) &&
         (fault.times == 0 || fault.hits < fault.times);
}

/// The reply as the fault makes it, and what that is in words.
std::string spoil(HttpReply& reply, const Fault& fault) {
  switch (fault.kind) {
    case Fault::Kind::status:
      reply.status = fault.status;
      reply.body = R"({"success":0})";
      return "status " + std::to_string(fault.status);
    case Fault::Kind::delay:
      reply.delay += fault.delay;
      return "delay " + std::to_string(fault.delay.count()) + " ms";
    case Fault::Kind::hang:
      reply.sending = Sending::never;
      return "no reply";
    case Fault::Kind::resetBefore:
      reply.sending = Sending::resetBefore;
      return "reset before the reply";
    case Fault::Kind::resetDuring:
      reply.sending = Sending::resetDuring;
      return "reset during the reply";
    case Fault::Kind::truncate:
      reply.sending = Sending::endsTooEarly;
      return "reply cut off";
    case Fault::Kind::garbage:
      reply.body = "\x01\xFFgarbage{[";
      return "garbage instead of the reply";
  }
  return "";
}

/// Reads one member, and complains when it is not what it should be.
class Reader {
 public:
  Reader(const Dictionary& members, std::string place, std::vector<std::string>& problems)
      : members_(members), place_(std::move(place)), problems_(problems) {}

  std::string text(std::string_view key) const {
    const Value value = members_[key];
    if (members_.holds(key) && !value.isText()) complain(key, value, "a text");
    return value.text();
  }

  std::int64_t number(std::string_view key, std::int64_t usual, std::int64_t least, std::int64_t most) const {
    if (!members_.holds(key)) return usual;
    const Value value = members_[key];
    const bool good = isWhole(value) && value.integerValue() >= least && value.integerValue() <= most;
    if (!good) complain(key, value, "a whole number from " + std::to_string(least) + " to " + std::to_string(most));
    return good ? value.integerValue() : usual;
  }

  void refuseOthers(const std::vector<std::string_view>& known) const {
    for (std::string& problem : unknownMembers(members_, known, place_ + '.')) problems_.push_back(std::move(problem));
  }

  void complain(std::string_view key, const Value& value, const std::string& right) const {
    problems_.push_back(place_ + '.' + std::string(key) + " is " + inWords(value) + ", and should be " + right);
  }

 private:
  const Dictionary members_;
  const std::string place_;
  std::vector<std::string>& problems_;
};

Fault faultOf(const Value& json, const std::string& place, std::vector<std::string>& problems) {
  constexpr std::int64_t longestDelay = 600000;
  const Reader reader(json.dictionary(), place, problems);
  reader.refuseOthers({"id", "kind", "action", "device", "app", "status", "delay_ms", "times", "percent", "hits"});
  Fault fault;
  const std::string kind = reader.text("kind");
  const auto* const found = std::find(kindNames.begin(), kindNames.end(), kind);
  if (found == kindNames.end()) {
    reader.complain("kind", json.dictionary()["kind"],
                    "one of status, delay, hang, reset_before, reset_during, truncate, garbage");
  } else {
    fault.kind = static_cast<Fault::Kind>(found - kindNames.begin());
  }
  fault.action = reader.text("action");
  if (std::find(actions.begin(), actions.end(), fault.action) == actions.end()) {
    reader.complain("action", json.dictionary()["action"],
                    "one of init, initial, update, get_attribution, batch, or \"\" for all");
  }
  fault.device = reader.text("device");
  fault.app = reader.text("app");
  fault.status = static_cast<int>(reader.number("status", fault.status, 200, 599));
  const bool delays = kind == nameOf(Fault::Kind::delay);
  if (delays && !json.dictionary().holds("delay_ms")) {
    reader.complain("delay_ms", Value(), "a whole number from 1 to " + std::to_string(longestDelay));
  }
  fault.delay = std::chrono::milliseconds(reader.number("delay_ms", 0, delays ? 1 : 0, longestDelay));
  fault.times = reader.number("times", 0, 0, INT32_MAX);
  fault.percent = static_cast<int>(reader.number("percent", 100, 1, 100));
  fault.hits = reader.number("hits", 0, 0, INT64_MAX);
  return fault;
}

}  // namespace

std::string Faults::apply(const ReceivedRequest& request, HttpReply& reply) {
  const std::lock_guard lock(mutex_);
  if (offline_) {
    reply.sending = Sending::resetBefore;
    return "offline";
  }
  for (Fault& fault : faults_) {
    if (!matches(fault, request)) continue;
    if (std::uniform_int_distribution<int>(1, 100)(random_) > fault.percent) continue;
    ++fault.hits;
    return spoil(reply, fault);
  }
  return "";
}

void Faults::set(std::vector<Fault> faults) {
  const std::lock_guard lock(mutex_);
  for (Fault& fault : faults) fault.id = ++lastId_;
  faults_ = std::move(faults);
}

void Faults::add(Fault fault) {
  const std::lock_guard lock(mutex_);
  fault.id = ++lastId_;
  faults_.push_back(std::move(fault));
}

bool Faults::remove(std::int64_t id) {
  const std::lock_guard lock(mutex_);
  return std::erase_if(faults_, [&](const Fault& fault) { return fault.id == id; }) > 0;
}

void Faults::setOffline(bool offline) {
  const std::lock_guard lock(mutex_);
  offline_ = offline;
}

void Faults::reset() {
  const std::lock_guard lock(mutex_);
  faults_.clear();
  offline_ = false;
}

Value Faults::json() const {
  const std::lock_guard lock(mutex_);
  std::vector<Value> list;
  for (const Fault& fault : faults_) {
    list.push_back(Value{{"id", fault.id},
                         {"kind", nameOf(fault.kind)},
                         {"action", fault.action},
                         {"device", fault.device},
                         {"app", fault.app},
                         {"status", fault.status},
                         {"delay_ms", static_cast<std::int64_t>(fault.delay.count())},
                         {"times", fault.times},
                         {"percent", fault.percent},
                         {"hits", fault.hits}});
  }
  return Value{{"offline", offline_}, {"faults", Array(std::move(list))}};
}

std::vector<std::string> Faults::setJSON(const Value& json) {
  std::vector<std::string> problems;
  const Dictionary members = json.dictionary();
  if (!json.isDictionary()) problems.push_back("the faults are " + inWords(json) + ", and should be an object");
  if (members.holds("offline") && members["offline"].kind() != Value::Kind::boolean) {
    problems.push_back("offline is " + inWords(members["offline"]) + ", and should be true or false");
  }
  if (members.holds("faults") && !members["faults"].isArray()) {
    problems.push_back("faults is " + inWords(members["faults"]) + ", and should be a list");
  }
  std::vector<Fault> faults;
  for (const Value& one : members["faults"].array()) {
    faults.push_back(faultOf(one, "faults[" + std::to_string(faults.size()) + ']', problems));
  }
  if (!problems.empty()) return problems;
  if (members.holds("faults")) set(std::move(faults));
  if (members.holds("offline")) setOffline(members["offline"].boolValue());
  return problems;
}

std::vector<std::string> Faults::addJSON(const Value& json) {
  if (!json.isDictionary()) return {"the fault is " + inWords(json) + ", and should be an object"};
  std::vector<std::string> problems;
  Fault fault = faultOf(json, "the fault", problems);
  if (problems.empty()) add(std::move(fault));
  return problems;
}

}  // namespace fliprugair::controlhost
