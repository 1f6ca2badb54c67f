#include "tools/sim/Simulator.h"

#include <array>

#include "Fliprugair/core/ProcessState.h"
#include "platform/PairList.h"
#include "platform/plist/KeyedArchive.h"
#include "platform/virtual/FirstVisit.h"
#include "platform/virtual/VirtualCollaborators.h"
#include "tools/sim/DeviceFields.h"
#include "tools/sim/HostDelegate.h"
#include "tools/sim/JSONMistake.h"
#include "tools/sim/Nearest.h"
#include "tools/sim/Selectors.h"
#include "tools/sim/StateValues.h"

namespace fliprugair::sim {

namespace {

/// "request 7 is not pending; pending are: 1, 2". What is long is cut off.
template <class Numbers>
std::string notThere(const std::string& what, std::string_view state, const Numbers& there) {
  constexpr std::size_t most = 10;
  std::string text = what + " is not " + std::string(state) + "; ";
  text += there.empty() ? "none is" : std::string(state) + " are: ";
  for (std::size_t index = 0; index < std::min(most, there.size()); ++index) {
    text += (index == 0 ? "" : ", ") + std::to_string(there[index]);
  }
  if (there.size() > most) text += " and " + std::to_string(there.size() - most) + " more";
  return text;
}

}  // namespace

Simulator::Simulator(Output output, std::uint64_t seed)
    : output_(std::move(output)),
      device_([this](const Dictionary& event) { write(event); },
              [](std::string_view bytes) { return isReadableKeyedArchive(bytes); }, seed),
      process_(std::make_unique<VirtualProcess>(device_)) {}

/// As at the end of a process: no teardown is seen.
Simulator::~Simulator() { process_->die(); }

void Simulator::write(const Dictionary& event) { output_(json_.text(event).value_or(R"({"event":"unwritable"})")); }

std::string Simulator::run(std::string_view line, std::uint64_t number) {
  const std::size_t begin = line.find_first_not_of(" \t\r\n");
  if (begin == std::string_view::npos || line[begin] == '#') return "";
  const auto parsed = json_.value(line);
  if (!parsed) {
    throw CommandError("found " + shown(line) + ", which cannot be read as a JSON object: " + jsonMistake(line) +
                       R"(; a command is one, such as {"do":"release"})");
  }
  note_.clear();
  const std::string name = Members("a command", *parsed).text("do");
  const Command command = commandNamed(name);
  (this->*command)(Members("\"" + name + "\"", *parsed));
  process_->runQueues();
  write(PairList().add("event", "done").add("line", number).dictionary());
  return std::move(note_);
}

Simulator::Command Simulator::commandNamed(std::string_view name) {
  struct Named {
    std::string_view name;
    Command command;
  };
  static constexpr std::array commands{
      Named{"device", &Simulator::device},       Named{"clock", &Simulator::clock},
      Named{"advance", &Simulator::advance},     Named{"store", &Simulator::store},
      Named{"installed", &Simulator::installed}, Named{"construct", &Simulator::construct},
      Named{"call", &Simulator::call},           Named{"notify", &Simulator::notify},
      Named{"reply", &Simulator::reply},         Named{"fail", &Simulator::fail},
      Named{"search_ad", &Simulator::searchAd},  Named{"location", &Simulator::location},
      Named{"expire", &Simulator::expire},       Named{"delegate", &Simulator::delegate},
      Named{"release", &Simulator::release},     Named{"restart", &Simulator::restart},
      Named{"state", &Simulator::state},
  };
  std::string known;
  std::vector<std::string_view> names;
  for (const Named& command : commands) {
    if (command.name == name) return command.command;
    known += known.empty() ? "" : ", ";
    known += command.name;
    names.push_back(command.name);
  }
  throw CommandError("there is no command " + shown(name) + suggestion(name, names) + "; there are " + known);
}

void Simulator::device(const Members& members) {
  setDeviceFields(device_.facts, members);
  if (members.all().size() == 1) note("\"device\" names no field");
}

void Simulator::clock(const Members& members) {
  members.allowOnly({"do", "now"});
  device_.setNow(members.number("now"));
}

void Simulator::advance(const Members& members) {
  members.allowOnly({"do", "seconds"});
  const double seconds = members.number("seconds");
  if (!(seconds >= 0 && seconds <= VirtualProcess::mostSeconds)) members.fail("seconds", "from 0 to 1e20");
  process_->advance(seconds);
}

void Simulator::store(const Members& members) {
  members.allowOnly({"do", "set", "remove", "get"});
  const Dictionary set = members.has("set") ? members.object("set") : Dictionary();
  const auto remove = members.has("remove") ? members.texts("remove") : std::vector<std::string>();
  const bool getAll = members.any("get") == Value("all");
  const auto get = members.has("get") && !getAll ? members.texts("get") : std::vector<std::string>();

  const Dictionary before = device_.store.all();
  for (const Dictionary::Entry& entry : set.entries()) device_.store.setObject(entry.value, entry.key());
  for (const std::string& key : remove) device_.store.removeObject(key);
  if (!members.has("get")) {
    if (device_.store.all() == before) note("the store is as it was");
    return;
  }
  Dictionary values = device_.store.all();
  if (!getAll) {
    values = Dictionary();
    for (const std::string& key : get) {
      if (const Value value = device_.store.objectForKey(key); !value.isNull()) values = values.setting(key, value);
    }
  }
  write(PairList().add("event", "store").add("values", values).dictionary());
}

void Simulator::installed(const Members& members) {
  members.allowOnly({"do"});
  storeFirstVisit(device_);
}

void Simulator::construct(const Members& members) {
  members.allowOnly({"do", "options", "keep"});
  const Value options = members.objectOrNull("options");
  construct(members.optionalBoolean("keep"), [&] { return MarluneTracker::initMarluneWithParams(*process_, options); });
}

void Simulator::construct(bool keep, const std::function<std::shared_ptr<MarluneTracker>()>& make) {
  if (keep) {
    if (tracker_ != nullptr) kept_.push_back(std::move(tracker_));
    tracker_ = nullptr;
  } else {
    releaseTracker();
  }
  tracker_ = make();
  if (tracker_ != nullptr) tracker_->setTrackerDelegate(makeDelegate(delegateKind_));
  write(PairList().add("event", "constructed").add("ok", tracker_ != nullptr).dictionary());
}

void Simulator::call(const Members& members) {
  members.allowOnly({"do", "method", "args"});
  const std::string method = members.text("method");
  if (members.has("args") && !members.any("args").isArray()) members.fail("args", "a list");
  const auto result = callSelector(*this, method, members.any("args").array());
  if (!result) return;
  if (tracker_ == nullptr) note("there is no tracker to call " + method + " on; \"construct\" makes one");
  write(Dictionary({{"event", "returned"}, {"method", method}, {"value", *result}}));
}

void Simulator::notify(const Members& members) {
  members.allowOnly({"do", "name"});
  const std::string name =
      members.choice("name", {"did-finish-launching", "did-become-active", "will-resign-active", "will-terminate"});
  if (tracker_ == nullptr && kept_.empty()) note("there is no tracker to be notified; \"construct\" makes one");
  if (name == "did-finish-launching") {
    process_->post(ApplicationNotification::didFinishLaunching);
  } else if (name == "did-become-active") {
    process_->post(ApplicationNotification::didBecomeActive);
  } else if (name == "will-resign-active") {
    process_->post(ApplicationNotification::willResignActive);
  } else {
    process_->post(ApplicationNotification::willTerminate);
  }
}

void Simulator::reply(const Members& members) {
  members.allowOnly({"do", "request", "body"});
  const std::int64_t request = members.integer("request", INT64_MIN, INT64_MAX);
  if (!process_->network().reply(static_cast<std::uint64_t>(request), members.any("body"))) noteNotPending(request);
}

void Simulator::fail(const Members& members) {
  members.allowOnly({"do", "request"});
  const std::int64_t request = members.integer("request", INT64_MIN, INT64_MAX);
  if (!process_->network().fail(static_cast<std::uint64_t>(request))) noteNotPending(request);
}

void Simulator::noteNotPending(std::int64_t request) {
  note(notThere("request " + std::to_string(request), "pending", process_->network().pending()));
}

void Simulator::searchAd(const Members& members) {
  members.allowOnly({"do", "details", "unknown"});
  if (!process_->answerSearchAd(members.objectOrNull("details"), members.optionalBoolean("unknown"))) {
    note("no tracker waits for an answer of the search-ad service");
  }
}

void Simulator::location(const Members& members) {
  members.allowOnly({"do", "fix"});
  const Members fix("\"fix\"", members.object("fix"));
  fix.allowOnly({"latitude", "longitude", "accuracy"});
  for (const std::string_view name : {"latitude", "longitude", "accuracy"}) {
    if (fix.has(name)) fix.number(name);
  }
  const auto manager = std::dynamic_pointer_cast<VirtualLocationManager>(ProcessState::of(*process_)->locMgr.load());
  if (manager == nullptr || !manager->deliver(fix.all())) note("no location manager is searching");
}

void Simulator::expire(const Members& members) {
  members.allowOnly({"do", "task"});
  const std::int64_t task = members.integer("task", INT64_MIN, INT64_MAX);
  if (!process_->expire(static_cast<BackgroundTaskIdentifier>(task))) {
    note(notThere("background task " + std::to_string(task), "running", process_->backgroundTasks()));
  }
}

void Simulator::delegate(const Members& members) {
  members.allowOnly({"do", "kind"});
  delegateKind_ = members.choice("kind", {"listening", "mute", "none"});
  if (tracker_ != nullptr) setTrackerDelegate(delegateKind_);
}

void Simulator::release(const Members& members) {
  members.allowOnly({"do"});
  if (tracker_ == nullptr) note("there is no tracker to be released");
  releaseTracker();
}

void Simulator::restart(const Members& members) {
  members.allowOnly({"do"});
  process_->die();
  tracker_ = nullptr;
  kept_.clear();
  delegates_.clear();
  process_ = std::make_unique<VirtualProcess>(device_);
}

void Simulator::state(const Members& members) {
  members.allowOnly({"do"});
  write(PairList()
            .add("event", "state")
            .add("values", stateValues(*ProcessState::of(*process_), process_->mainQueue()))
            .dictionary());
}

void Simulator::releaseTracker() {
  tracker_ = nullptr;
  process_->runQueues();
}

std::shared_ptr<HostDelegate> Simulator::makeDelegate(const std::string& kind) {
  if (kind == "none") return nullptr;
  delegates_.push_back(std::make_shared<HostDelegate>(kind, [this](const Dictionary& event) { write(event); }));
  return delegates_.back();
}

void Simulator::setTrackerDelegate(const std::string& kind) { tracker_->setTrackerDelegate(makeDelegate(kind)); }

Value Simulator::trackerDelegateKind() const {
  const auto delegate = std::dynamic_pointer_cast<HostDelegate>(tracker_->trackerDelegate());
  return delegate != nullptr ? Value(delegate->kind()) : Value();
}

}  // namespace fliprugair::sim
