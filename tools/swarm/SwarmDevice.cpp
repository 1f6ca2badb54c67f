#include "tools/swarm/SwarmDevice.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "Fliprugair/collaborators/MarluneNetworkAccess.h"
#include "platform/json/RapidJSONSerialization.h"

namespace fliprugair::swarm {

namespace {

/// How long the system lets an app be that nobody looks at.
constexpr Time patience = 3 * minute;

/// A shorter one is not worth the trouble.
constexpr Time shortRest = 5 * minute;

constexpr std::string_view eventTitle = "level";

}  // namespace

SwarmDevice::SwarmDevice(const Fleet& fleet, std::uint32_t number, Network& network)
    : fleet_(fleet),
      number_(number),
      network_(network),
      random_(Random::mixed(fleet.seed, number)),
      device_([this](const VirtualEvent& event) { happen(event); }, [](std::string_view) { return false; },
              random_.next()) {
  device_.setNow(fleet.startsAt);
  device_.facts.idfv = device_.randomUUID();
  device_.facts.idfa = device_.randomUUID();
  plan(Act::openApp, fromSeconds(random_.uniform() * fleet.habits.installHours * 3600));
}

SwarmDevice::~SwarmDevice() { endProcess(); }

void SwarmDevice::plan(Act act, Time at) {
  act_ = act;
  actAt_ = at;
}

Time SwarmDevice::due() const {
  const auto timer = process_ != nullptr ? process_->mainQueue().nextDeadline() : std::nullopt;
  return timer ? std::min(actAt_, static_cast<Time>(*timer)) : actAt_;
}

void SwarmDevice::live(Time then) {
  then = std::max(then, now());
  if (process_ != nullptr) {
    process_->advance(inSeconds(then - now()));
  } else {
    device_.moveTo(then);
  }
  settle();
  if (actAt_ > then) return;
  act();
  settle();
}

/// What the tracker asks of the outside. It is in the middle of something, so nothing is answered here.
void SwarmDevice::happen(const VirtualEvent& event) {
  if (event.name() == "send") {
    const Dictionary sent = event;
    sent_.push_back({static_cast<std::uint64_t>(sent["request"].integerValue()), sent["payload"]});
  } else if (event.name() == "search_ad_request") {
    isSearchAdAsked_ = true;
  }
}

void SwarmDevice::settle() {
  if (process_ != nullptr) process_->runQueues();
  while (process_ != nullptr && std::exchange(isSearchAdAsked_, false)) {
    process_->answerSearchAd(nullptr, false);
    process_->runQueues();
  }
  letLeave();
  rest();
}

/// Most devices do nothing most of the time. What they have stored takes little room meanwhile.
void SwarmDevice::rest() {
  static const RapidJSONSerialization json;
  waitingRequests_ = device_.store.objectForKey(key::networkQueue).dictionary().size();
  if (underWay_ > 0 || due() - now() < shortRest) return;
  device_.store.pack(json);
}

void SwarmDevice::letLeave() {
  std::vector<Sent> waiting;
  for (Sent& sent : std::exchange(sent_, {})) {
    const HostTrouble::Answer answer = trouble_.ask(troubleTime());
    if (answer == HostTrouble::Answer::wait) {
      waiting.push_back(std::move(sent));
    } else if (answer == HostTrouble::Answer::refuse) {
      process_->network().fail(sent.request);
    } else if (isOnline_) {
      ++underWay_;
      network_.send(*this, sent.request, sent.payload);
    } else {
      trouble_.failed(troubleTime(), HostTrouble::Seconds(0));
      process_->network().fail(sent.request);
    }
  }
  sent_ = std::move(waiting);
}

void SwarmDevice::answer(std::uint64_t request, const Value& payload, const Value& reply) {
  // A process that has ended meanwhile does not hear of it: the request stays in the store.
  if (process_ == nullptr || !process_->network().reply(request, reply)) return;
  --underWay_;
  trouble_.answered();
  account_.confirmed(payload);
  settle();
}

void SwarmDevice::fail(std::uint64_t request) {
  if (process_ == nullptr || !process_->network().fail(request)) return;
  --underWay_;
  trouble_.failed(troubleTime(), HostTrouble::Seconds(0));
  settle();
}

void SwarmDevice::act() {
  switch (act_) {
    case Act::openApp:
      return openApp();
    case Act::useApp:
      return useApp();
    case Act::leaveApp:
      return leaveApp();
    case Act::endApp:
      endProcess();
      return plan(Act::openApp, sessionAt_);
  }
}

void SwarmDevice::openApp() {
  const Habits& habits = fleet_.habits;
  if (random_.chance(1 / (habits.daysBetweenUpdates * habits.sessionsADay))) {
    endProcess();
    device_.facts.bundle["CFBundleVersion"] = std::to_string(++version_);
  }
  isOnline_ = !random_.chance(habits.offline);
  if (process_ == nullptr) startProcess();
  if (!isInstalled_) account_.record();
  isInstalled_ = true;
  process_->post(ApplicationNotification::didBecomeActive);
  eventsLeft_ = 1 + static_cast<std::uint32_t>(std::lround(random_.exponential(habits.eventsASession - 1)));
  plan(Act::useApp, now() + fromSeconds(random_.exponential(habits.secondsBetweenEvents)));
}

void SwarmDevice::useApp() {
  tracker_->trackEvent(eventTitle, std::to_string(account_.record()));
  --eventsLeft_;
  const Time next = now() + fromSeconds(random_.exponential(fleet_.habits.secondsBetweenEvents));
  plan(eventsLeft_ > 0 ? Act::useApp : Act::leaveApp, next);
}

void SwarmDevice::leaveApp() {
  sessionAt_ = nextSession(fleet_.habits, now(), random_);
  plan(Act::openApp, sessionAt_);
  if (random_.chance(fleet_.habits.crashes)) return endProcess();
  process_->post(ApplicationNotification::willResignActive);
  const bool isEnded = random_.chance(fleet_.habits.restarts);
  if (isEnded && now() + patience < sessionAt_) plan(Act::endApp, now() + patience);
}

void SwarmDevice::startProcess() {
  process_ = std::make_unique<VirtualProcess>(device_);
  tracker_ = MarluneTracker::initMarluneWithParams(*process_, fleet_.trackerOptions);
  process_->runQueues();
  process_->post(ApplicationNotification::didFinishLaunching);
}

/// As the system ends an app: no teardown is seen.
void SwarmDevice::endProcess() {
  if (process_ == nullptr) return;
  process_->die();
  tracker_ = nullptr;
  process_ = nullptr;
  sent_.clear();
  underWay_ = 0;
  trouble_ = HostTrouble();
  isSearchAdAsked_ = false;
}

}  // namespace fliprugair::swarm
