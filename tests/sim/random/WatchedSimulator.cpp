#include "WatchedSimulator.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <regex>

#include "Fliprugair/core/ProcessState.h"
#include "platform/ReferenceDate.h"
#include "platform/json/RapidJSONSerialization.h"

namespace fliprugair::sim {

namespace {

const std::set<std::string_view>& knownKeys() {
  static const std::set<std::string_view> keys{
      key::requestAttribution,
      key::userAgent,
      key::appId,
      key::currency,
      key::sessionTracking,
      key::attribution,
      key::firstInitReceived,
      key::sendInitial,
      key::deviceLatitude,
      key::deviceLongitude,
      key::lastUpdateTime,
      key::lastPostTime,
      key::timeAppBecameActive,
      key::idfaBlacklisted,
      key::idfvBlacklisted,
      key::initialIdentityLink,
      key::idfa,
      key::pairedAppleWatches,
      key::mlinitWait,
      key::lastMLInitSent,
      key::mltrackerWait,
      key::lastMLTrackerQueued,
      key::iAdAttributionAttempts,
      key::iAdAttributionWait,
      key::iAdRetryWait,
      key::sendIdUpdates,
      key::lastLocationTime,
      key::app_limit_tracking,
      key::origDeviceId,
      key::deviceId,
      key::watchProperties,
      key::eventsSending,
      key::blacklistedEventNames,
      key::device_limit_tracking,
      key::INIT_PAYLOAD,
      key::attributionWait,
      key::iAdAttribution_INITIAL_PASSTHROUGH,
      key::initialPayload,
      key::handleWatchEventsDeferred,
      key::trackWatchEventDeferred,
      key::batchEventQueue,
      key::networkQueue,
  };
  return keys;
}

std::string jsonText(const Value& value) {
  auto text = RapidJSONSerialization().text(value);
  return text ? std::move(*text) : std::string(1, '?');
}

bool is(const Dictionary& command, std::string_view name) { return command["do"] == Value(name); }

bool calls(const Dictionary& command, std::string_view selector) {
  return is(command, "call") && command["method"] == Value(selector);
}

bool constructs(const Dictionary& command) {
  const std::string& method = command["method"].text();
  return is(command, "construct") ||
         (is(command, "call") && (method.starts_with("init") || method.starts_with("swiftInit")));
}

bool mayResend(const Dictionary& command) {
  return calls(command, "sendQueueEvents") || command["name"] == Value("did-become-active");
}

bool isDeviceIdentifier(const std::string& text) {
  static const std::regex pattern("MI[0-9A-F]{12}4[0-9A-F]{3}[89AB][0-9A-F]{15}");
  return std::regex_match(text, pattern);
}

bool isTimestamp(const std::string& text) {
  static const std::regex pattern(R"(-?[0-9]+\.[0-9]{6})");
  return std::regex_match(text, pattern);
}

}  // namespace

WatchedSimulator::WatchedSimulator(std::uint64_t seed)
    : simulator_([this](const std::string& line) { lines_.push_back(line); }, seed) {}

void WatchedSimulator::fail(const std::string& what) {
  if (failure_.empty()) failure_ = what;
}

std::optional<WatchedSimulator::Events> WatchedSimulator::eventsOf(const std::string& command) {
  lines_.clear();
  try {
    simulator_.run(command, ++number_);
  } catch (const CommandError&) {
    if (!lines_.empty()) fail("a command that was not understood wrote " + lines_.front());
    return std::nullopt;
  }
  const std::string done = "{\"event\":\"done\",\"line\":" + std::to_string(number_) + "}";
  if (lines_.empty() || lines_.back() != done) fail("the last event is not its done");
  Events events;
  for (std::size_t index = 0; index + 1 < lines_.size(); ++index) {
    const auto event = RapidJSONSerialization().value(lines_[index], 100000);
    if (!event || !event->isDictionary()) {
      fail("no JSON object: " + lines_[index]);
      continue;
    }
    events.push_back(event->dictionary());
    const Value name = events.back()["event"];
    if (name == Value("done")) fail("a second done");
    if (name == Value("unwritable")) fail("an event that has no JSON text");
  }
  return events;
}

Dictionary WatchedSimulator::look(const std::string& command) {
  const auto events = eventsOf(command);
  if (!events || events->size() != 1) {
    fail("no single answer to " + command);
    return {};
  }
  return events->front()["values"].dictionary();
}

std::string WatchedSimulator::run(const std::string& text) {
  failure_.clear();
  const Dictionary command = RapidJSONSerialization().value(text).value_or(Value()).dictionary();
  const auto events = eventsOf(text);
  if (events) takeNote(command, *events);
  const Dictionary store = look(R"({"do":"store","get":"all"})");
  const Dictionary state = look(R"({"do":"state"})");
  if (!events) {
    if (store != storeBefore_) fail("a command that was not understood changed the store");
  } else {
    checkSends(command, *events, store);
    checkBatches(*events, store);
    checkKeys(command, store);
    checkLog(command, *events, state);
    checkWithoutTracker(command, *events);
  }
  checkSending(store);
  checkTimers(state);
  checkIdentifiers(store);
  storeBefore_ = store;
  timeBefore_ = time_;
  loggingBefore_ = state["_loggingEnabled"].boolValue();
  return failure_;
}

void WatchedSimulator::noteTaints(const Dictionary& command) {
  if (is(command, "store")) {
    const auto writes = [&](std::string_view key) {
      return command["set"].dictionary().holds(key) || command["remove"].array().containsText(key);
    };
    if (writes(key::batchEventQueue)) wroteBatch_ = true;
    if (writes(key::networkQueue)) wroteNetworkQueue_ = true;
    if (writes(key::eventsSending)) sendingIsForeign_ = true;
    if (writes(key::deviceId) || writes(key::origDeviceId)) identifierIsForeign_ = true;
  }
  if (is(command, "reply") && !command["body"].dictionary()["flags"].dictionary()["marlune_device_id"].isNull()) {
    identifierIsForeign_ = true;
  }
  if (calls(command, "enqueueMarluneEvent:")) wroteNetworkQueue_ = true;
}

void WatchedSimulator::takeNote(const Dictionary& command, const Events& events) {
  noteTaints(command);
  if (is(command, "reply") || is(command, "fail")) pending_.erase(command["request"].integerValue());
  if (is(command, "release")) holdsTracker_ = false;
  if (is(command, "clock")) time_ = timeBefore_ = command["now"].realValue();
  if (is(command, "advance")) time_ += command["seconds"].realValue();
  if (is(command, "restart")) {
    holdsTracker_ = false;
    kept_ = 0;
    pending_.clear();
    armed_.clear();
    sendingIsForeign_ = true;
  }
  if (constructs(command)) {
    if (command["keep"].boolValue() && holdsTracker_) ++kept_;
    holdsTracker_ = false;
  }
  for (const Dictionary& event : events) noteEvent(event);
  if (constructs(command)) {
    const auto probe = eventsOf(R"({"do":"call","method":"isOSGenuine","args":[]})");
    const bool there = probe && probe->size() == 1 && probe->front()["value"] == Value(true);
    if (there != holdsTracker_) fail("constructed said otherwise than there is a tracker");
  }
}

void WatchedSimulator::noteEvent(const Dictionary& event) {
  const std::string& name = event["event"].text();
  const std::string& selector = event["selector"].text();
  if (name == "send") {
    pending_.emplace(event["request"].integerValue(), event["event_timestamp"].text());
  } else if (name == "timer_armed") {
    armed_.insert(selector);
  } else if (name == "timer_fired" || name == "timer_stopped") {
    const auto known = armed_.find(selector);
    if (known == armed_.end()) {
      fail(name + " of a timer that was not armed: " + selector);
    } else {
      armed_.erase(known);
    }
  } else if (name == "constructed") {
    holdsTracker_ = event["ok"].boolValue();
    if (holdsTracker_) sendingIsForeign_ = false;
  } else if (name == "returned" && event["method"] == Value("createDeviceId") && !event["value"].isNull()) {
    if (!isDeviceIdentifier(event["value"].text())) fail("no device identifier: " + event["value"].text());
  }
  checkNumbers(event);
}

void WatchedSimulator::checkNumbers(const Dictionary& event) {
  if (event["event"] == Value("send") && event["request"] != Value(++requests_))
    fail("requests are not numbered in order");
  if (event["event"] == Value("background_task_began") && event["task"] != Value(++tasks_)) {
    fail("background tasks are not numbered in order");
  }
}

/// Each entry of the network queue is sent once, with a delegate, when it is entered; without one only by a resend, and
/// then only when it is not in flight.
void WatchedSimulator::checkSends(const Dictionary& command, const Events& events, const Dictionary& store) {
  const Dictionary before = storeBefore_[key::networkQueue].dictionary();
  const Dictionary queue = store[key::networkQueue].dictionary();
  const Dictionary sendingBefore = storeBefore_[key::eventsSending].dictionary();
  std::map<std::string, Value> firstSends;
  std::map<std::pair<std::string, std::string>, std::size_t> times;
  std::set<std::string> resent;
  for (const Dictionary& event : events) {
    if (event["event"] != Value("send") || event["event_timestamp"].isNull()) continue;
    const std::string timestamp = event["event_timestamp"].text();
    if (event["delegate"].boolValue()) {
      if (!isTimestamp(timestamp) || !isOfThisCommand(timestamp)) fail("not entered when it was sent: " + timestamp);
      firstSends[timestamp] = event["payload"];
      if (event["payload"].isNull()) continue;
      // Trackers may well send the same at one moment, but each but once.
      const std::size_t trackers = kept_ + 1;
      if (++times[{timestamp, jsonText(event["payload"])}] > trackers) fail("sent more than once: " + timestamp);
      continue;
    }
    if (!mayResend(command)) fail("a request without delegate that nobody asked to resend");
    if (!before.holds(timestamp) && !queue.holds(timestamp)) fail("resent what is not queued: " + timestamp);
    if (!sendingBefore[timestamp].isNull()) fail("resent what is in flight: " + timestamp);
    if (!resent.insert(timestamp).second) fail("resent twice: " + timestamp);
  }
  for (const auto& [timestamp, payload] : firstSends) {
    if (!payload.isNull() && queue[timestamp] != payload) fail("what was sent is not what is queued: " + timestamp);
  }
  if (is(command, "store") || calls(command, "enqueueMarluneEvent:")) return;
  const auto entries = queue.entries();
  for (const Dictionary::Entry& entry : entries) {
    if (before.holds(entry.key()) || firstSends.contains(entry.key())) continue;
    if (storeBefore_[key::firstInitReceived].boolValue()) fail("queued but not sent: " + entry.key());
  }
}

bool WatchedSimulator::isOfThisCommand(const std::string& timestamp) const {
  const double time = std::stod(timestamp) + referenceDate;
  const double inexactness = 1e-3 + std::abs(time) * 1e-9;
  return time >= timeBefore_ - inexactness && time <= time_ + inexactness;
}

void WatchedSimulator::checkBatches(const Events& events, const Dictionary& store) {
  constexpr std::size_t most = 25;
  for (const Dictionary& event : events) {
    if (event["event"] != Value("send") || event["payload"].array().size() <= most) continue;
    const bool isResend = !event["delegate"].boolValue();
    if (isResend ? !wroteNetworkQueue_ : !wroteBatch_) {
      fail("a batch of " + std::to_string(event["payload"].array().size()) + " records");
    }
  }
  const Value queue = store[key::batchEventQueue];
  if (queue.isNull()) {
    wroteBatch_ = false;
  } else if (!wroteBatch_ && (!queue.isArray() || queue.array().empty() || queue.array().size() >= most)) {
    // An append of nothing leaves an empty list.
    if (!queue.isArray() || !queue.array().empty()) fail("a batch queue of " + std::to_string(queue.array().size()));
  }
}

void WatchedSimulator::checkSending(const Dictionary& store) {
  if (sendingIsForeign_) return;
  const auto entries = store[key::eventsSending].dictionary().entries();
  for (const Dictionary::Entry& entry : entries) {
    const bool isPending =
        std::ranges::any_of(pending_, [&](const auto& request) { return request.second == entry.key(); });
    if (!isPending) fail("listed as sending, but not pending: " + entry.key());
  }
}

void WatchedSimulator::checkKeys(const Dictionary& command, const Dictionary& store) {
  if (is(command, "store")) return;
  const auto difference = Dictionary::difference(storeBefore_, store);
  for (const auto* entries : {&difference.removed, &difference.added}) {
    for (const Dictionary::Entry& entry : *entries) {
      if (knownKeys().contains(entry.key()) || storeBefore_[entry.key()] == store[entry.key()]) continue;
      fail("a key that is none of the tracker's changed: " + entry.key());
    }
  }
}

void WatchedSimulator::checkTimers(const Dictionary& state) {
  std::multiset<std::string> listed;
  double last = 0;
  for (const Value& timer : state["timers"].array()) {
    listed.insert(timer.dictionary()["selector"].text());
    const double dueIn = timer.dictionary()["due_in"].realValue();
    if (dueIn < last) fail("timers are not listed in due order");
    last = dueIn;
  }
  if (listed != armed_) fail("the timers listed are not those that were armed and not fired or stopped");
}

void WatchedSimulator::checkLog(const Dictionary& command, const Events& events, const Dictionary& state) {
  const bool mayLog = loggingBefore_ || state["_loggingEnabled"].boolValue() || constructs(command);
  for (const Dictionary& event : events) {
    if (event["event"] != Value("log")) continue;
    const std::string& text = event["text"].text();
    if (text.find("5b1f3a52-6c0e-4d0b-9d3c-0f7f6b2f8a41") != std::string::npos) fail("thrown inside: " + text);
    const bool isAlwaysWritten =
        text.find("] EXCEPTION") != std::string::npos || text.find("resonance_cascade received") != std::string::npos;
    if (!mayLog && !isAlwaysWritten) fail("a line while logging is off: " + text);
  }
}

/// With no tracker alive nothing happens but what belongs to the device.
void WatchedSimulator::checkWithoutTracker(const Dictionary& command, const Events& events) {
  if (holdsTracker_ || kept_ != 0 || constructs(command) || is(command, "release")) return;
  static const std::set<std::string_view> allowed{"timer_fired", "store", "state", "returned", "background_task_ended"};
  for (const Dictionary& event : events) {
    const std::string& name = event["event"].text();
    if (!allowed.contains(name)) fail("without a tracker: " + jsonText(event));
    if (name == "returned" && !event["value"].isNull()) fail("a result without a tracker: " + jsonText(event));
  }
}

void WatchedSimulator::checkIdentifiers(const Dictionary& store) {
  if (identifierIsForeign_) return;
  for (const std::string_view key : {key::deviceId, key::origDeviceId}) {
    const Value identifier = store[key];
    if (!identifier.isNull() && !isDeviceIdentifier(identifier.text())) {
      fail("no device identifier: " + jsonText(identifier));
    }
  }
}

}  // namespace fliprugair::sim
