#include "tracker/Phone.h"

#include <optional>

#include "platform/json/RapidJSONSerialization.h"
#include "support/WatchedProperties.h"
#include "support/WireFormat.h"
#include "tools/sim/StateValues.h"

namespace fliprugair {

namespace {

constexpr std::string_view prefix = "com.marlune.MarluneTracker.";

std::string fullKey(std::string_view name) {
  for (const std::string_view key : {key::eventsSending, key::batchEventQueue, key::networkQueue}) {
    if (key.ends_with("." + std::string(name))) return std::string(key);
  }
  return std::string(prefix) + std::string(name);
}

void erase(Snapshot& snapshot, const std::string& path) {
  snapshot.erase(path);
  const auto below = snapshot.lower_bound(path + "/");
  auto end = below;
  while (end != snapshot.end() && end->first.starts_with(path + "/")) ++end;
  snapshot.erase(below, end);
}

std::string shortened(std::string text, std::size_t longest = 120) {
  if (text.size() > longest) text.resize(longest);
  return validUtf8(std::move(text));
}

std::string jsonText(const Value& value) {
  std::optional<std::string> text = RapidJSONSerialization().text(value);
  return text ? std::move(*text) : std::string(1, '?');
}

}  // namespace

Phone::Phone()
    : device(
          [this](const Dictionary& event) {
            look(event);
            const std::lock_guard lock(mutex_);
            events_.push_back(event);
          },
          [](std::string_view bytes) { return bytes == "archive"; }),
      process(device) {}

/// The schemas come with the control host, which can be left out of a build.
void Phone::look([[maybe_unused]] const Dictionary& event) const {
#ifdef FLIPRUGAIR_WIRE_CHECKED
  if (sendsOddities_ || event["event"] != Value("send") || event["payload"].isNull()) return;
  EXPECT_EQ(test::wireFaults(event["payload"], expected_), "") << shortened(jsonText(event["payload"]), 2000);
#endif
}

std::shared_ptr<MarluneTracker> Phone::construct(const Value& options) {
  auto tracker = MarluneTracker::initMarluneWithParams(process, options);
  process.runQueues();
  return tracker;
}

void Phone::reply(std::uint64_t number, const Value& body) {
  process.network().reply(number, body);
  process.runQueues();
}

std::vector<Dictionary> Phone::events() const {
  const std::lock_guard lock(mutex_);
  return events_;
}

std::vector<Dictionary> Phone::events(std::string_view name) const {
  std::vector<Dictionary> found;
  for (const Dictionary& event : events()) {
    if (event["event"] == Value(name)) found.push_back(event);
  }
  return found;
}

void Phone::forgetEvents() {
  const std::lock_guard lock(mutex_);
  events_.clear();
}

std::vector<Dictionary> Phone::requests(std::string_view action) const {
  std::vector<Dictionary> found;
  for (const Dictionary& send : events("send")) {
    const Dictionary payload = send["payload"].dictionary();
    if (payload["action"] == Value(action)) found.push_back(payload);
  }
  return found;
}

int Phone::logged(std::string_view ending) const {
  const auto lines = events("log");
  return static_cast<int>(
      std::ranges::count_if(lines, [&](const Dictionary& line) { return line["text"].text().ends_with(ending); }));
}

std::vector<double> Phone::timers(std::string_view selector) {
  std::vector<double> due;
  for (const auto& armed : process.mainQueue().armed()) {
    if (armed.selector == selector) due.push_back(armed.dueIn);
  }
  return due;
}

Array Phone::batch() const { return device.store.objectForKey(key::batchEventQueue).array(); }

Value Phone::stored(std::string_view name) const { return device.store.objectForKey(fullKey(name)); }

void Phone::store(std::string_view name, const Value& value) { device.store.setObject(value, fullKey(name)); }

Value reportedInstall() {
  return {
      {"sendInitial", false},
      {"idfa", "66666666-7777-4888-9999-AAAAAAAAAAAA"},
      {"watchProperties", watchedProperties()},
  };
}

void Phone::storeReportedInstall() {
  const Value install = reportedInstall();
  const auto entries = install.dictionary().entries();
  for (const Dictionary::Entry& entry : entries) store(entry.key(), entry.value);
}

InstalledPhone::InstalledPhone(const Value& options, const Value& initReply) {
  storeReportedInstall();
  tracker = construct(options);
  reply(1, initReply);
  forgetEvents();
}

void put(Snapshot& snapshot, const std::string& path, const Value& value) {
  erase(snapshot, path);
  if (value.isNull()) return;
  if (value.isDictionary() && !value.dictionary().empty()) {
    const auto entries = value.dictionary().entries();
    for (const Dictionary::Entry& entry : entries) put(snapshot, path + "/" + entry.key(), entry.value);
  } else {
    snapshot.insert_or_assign(path, jsonText(value));
  }
}

Snapshot snapshotOf(Phone& phone) {
  Snapshot snapshot;
  put(snapshot, "store", phone.device.store.all());
  put(snapshot, "state", sim::stateValues(*ProcessState::of(phone.process), phone.process.mainQueue()));
  std::map<std::string, int> counts;
  for (const Dictionary& event : phone.events()) {
    const std::string name = event["event"].text();
    if (name != "log") put(snapshot, "event " + name + " " + std::to_string(++counts[name]), event);
  }
  return snapshot;
}

void expectSame(const Snapshot& found, const Snapshot& expected) {
  for (const auto& [path, text] : expected) {
    const auto there = found.find(path);
    if (there == found.end()) {
      ADD_FAILURE() << path << " is absent, and should be " << shortened(text);
    } else if (there->second != text) {
      ADD_FAILURE() << path << " is " << shortened(there->second) << ", and should be " << shortened(text);
    }
  }
  for (const auto& [path, text] : found) {
    if (!expected.contains(path)) ADD_FAILURE() << path << " is " << shortened(text) << ", and should be absent";
  }
}

std::string storePath(std::string_view name) { return "store/" + fullKey(name); }

Value with(const Value& dictionary, std::string_view key, const Value& value) {
  return dictionary.dictionary().setting(key, value);
}

std::string traceOf(std::string_view name, const Value& value) {
  return std::string(name) + " = " + shortened(jsonText(value), 40);
}

std::string megabyteOf(char character) { return std::string(std::size_t{1} << 20, character); }

}  // namespace fliprugair
