// What a start resets and what it leaves, and what a tracker's end stops. What arrives from outside is guarded.

#include <stdexcept>

#include "Fliprugair/core/TrackerImplementation.h"
#include "tracker/InitReplies.h"
#include "tracker/ObservedEnvironment.h"

namespace fliprugair {
namespace {

const Value demoApp{{"marluneAppId", "demo"}};

/// One value that the trackers of a process share: set before a start, and what it is afterwards.
struct SharedValue {
  std::string_view name;
  std::function<void(ProcessState&)> set;
  std::function<Value(ProcessState&)> get;
  Value afterStart;
  Value afterFailedStart;
};

template <class Member, class Number>
SharedValue number(std::string_view name, Member member, Number before, Value afterStart, Value afterFailedStart) {
  return {name, [=](ProcessState& state) { state.*member = before; },
          [=](ProcessState& state) { return Value((state.*member).load()); }, std::move(afterStart),
          std::move(afterFailedStart)};
}

template <class Member>
SharedValue value(std::string_view name, Member member, const Value& before, Value afterStart, Value afterFailedStart) {
  return {name, [=](ProcessState& state) { (state.*member).store(before); },
          [=](ProcessState& state) { return (state.*member).load(); }, std::move(afterStart),
          std::move(afterFailedStart)};
}

const std::vector<SharedValue>& sharedValues() {
  using State = ProcessState;
  const Value list = Array({"x"});
  static const std::vector<SharedValue> values{
      number("_loggingEnabled", &State::_loggingEnabled, true, false, false),
      number("_isNewUser", &State::_isNewUser, true, false, false),
      number("skipBecameActive", &State::skipBecameActive, true, false, false),
      number("iAdAttributionAttempts", &State::iAdAttributionAttempts, 2, 0, 0),
      number("rcascadeTimerDelay", &State::rcascadeTimerDelay, 30, 0, 0),
      number("triggerRetryiAdRetrieval", &State::triggerRetryiAdRetrieval, true, false, false),
      value("trackerHostname", &State::trackerHostname, "x", "control.marlune.example", "control.marlune.example"),
      value("sdkVersion", &State::sdkVersion, "x", "ios-20160921", "ios-20160921"),
      // A start that fails does not come to these.
      number("reportLocation", &State::reportLocation, true, false, true),
      number("location_accuracy", &State::location_accuracy, 7, 0, 7),
      number("location_timeout", &State::location_timeout, 7, 0, 7),
      number("location_staleness", &State::location_staleness, 7, 0, 7),
      value("disabledDeviceTypes", &State::disabledDeviceTypes, list, Array(), list),
      value("blacklistedEventNames", &State::blacklistedEventNames, list, Array(), list),
      // The report that is waiting goes on.
      number("iAdDelegateProcessed", &State::iAdDelegateProcessed, true, true, true),
  };
  return values;
}

TEST(AStart, ResetsWhatTheProcessSharesButForTheAnswerThatWasMerged) {
  for (const SharedValue& shared : sharedValues()) {
    Phone phone;
    shared.set(phone.state());
    const auto tracker = phone.construct();
    EXPECT_EQ(shared.get(phone.state()), shared.afterStart) << shared.name;
  }
}

TEST(AStart, ThatFailsResetsItsFirstStepsAlone) {
  for (const SharedValue& shared : sharedValues()) {
    Phone phone;
    shared.set(phone.state());
    EXPECT_EQ(phone.construct(Dictionary()), nullptr);
    EXPECT_EQ(shared.get(phone.state()), shared.afterFailedStart) << shared.name;
  }
}

class FakeTimer final : public Timer {
 public:
  void invalidate() override { valid = false; }
  bool isValid() const override { return valid; }
  bool valid = true;
};

struct SharedTimer {
  std::string_view name;
  std::function<TimerReference&(ProcessState&)> in;
  bool isDropped;  ///< by a start
};

const std::vector<SharedTimer>& sharedTimers() {
  static const std::vector<SharedTimer> timers{
      {"rcascadeTimer", [](ProcessState& state) -> TimerReference& { return state.rcascadeTimer; }, true},
      {"mlTrackerWaitTimer", [](ProcessState& state) -> TimerReference& { return state.mlTrackerWaitTimer; }, true},
      {"marluneAttributionCheckTimer",
       [](ProcessState& state) -> TimerReference& { return state.marluneAttributionCheckTimer; }, true},
      {"marluneAttributionTimer", [](ProcessState& state) -> TimerReference& { return state.marluneAttributionTimer; },
       true},
      {"retryiAdAttributionTimer",
       [](ProcessState& state) -> TimerReference& { return state.retryiAdAttributionTimer; }, false},
      {"iAdAttributionPayloadTimer",
       [](ProcessState& state) -> TimerReference& { return state.iAdAttributionPayloadTimer; }, false},
  };
  return timers;
}

TEST(AStart, DropsTimersWithoutStoppingThemAndKeepsThoseOfTheSearchAd) {
  for (const SharedTimer& shared : sharedTimers()) {
    Phone phone;
    const auto timer = std::make_shared<FakeTimer>();
    shared.in(phone.state()).store(timer);
    const auto tracker = phone.construct();
    EXPECT_EQ(shared.in(phone.state()).load() == nullptr, shared.isDropped) << shared.name;
    EXPECT_TRUE(timer->valid) << shared.name;
  }
}

TEST(AStart, DropsTheSearchForAPosition) {
  for (const Value& options : {demoApp, Value(Dictionary())}) {
    Phone phone;
    phone.state().locMgr.store(static_cast<Environment&>(phone.process).makeLocationManager());
    const auto tracker = phone.construct(options);
    EXPECT_EQ(phone.state().locMgr.load(), nullptr);
  }
}

TEST(AStart, ThatFailsWritesTheWishForAttributionAlone) {
  Phone phone;
  ObservedEnvironment environment(phone.process);
  EXPECT_EQ(MarluneTracker::initMarluneWithParams(environment, {{"retrieveAttribution", true}}), nullptr);
  EXPECT_EQ(phone.device.store.all().size(), 1U);
  EXPECT_EQ(phone.stored("requestAttribution"), Value(true));
  EXPECT_TRUE(environment.store.undurable().empty());
}

TEST(AStart, SaysThatItBeginsAndWhyItFailsWhileLoggingIsOn) {
  Phone phone;
  phone.construct({{"enableLogging", true}});
  EXPECT_EQ(phone.logged("Marlune library - in init"), 1);
  EXPECT_EQ(phone.logged("Marlune library - you MUST send and appId OR a partner Id/Name pair"), 1);
  EXPECT_EQ(phone.logged("Marlune library - library initialized failed"), 1);
  Phone quiet;
  quiet.construct(Dictionary());
  quiet.construct();
  EXPECT_TRUE(quiet.events("log").empty());
}

TEST(AStart, AsksForSettingsOneSecondAfterTheWait) {
  for (const auto& [time, asks] :
       {std::pair(1700000060, false), std::pair(1700000061, true), std::pair(1699999999, true)}) {
    InstalledPhone phone;
    phone.device.setNow(time);
    const auto later = phone.construct();
    EXPECT_EQ(!phone.requests("init").empty(), asks) << time;
  }
}

TEST(AStart, AsksForSettingsWithinTheWaitWhenTheAppHasChanged) {
  InstalledPhone phone;
  phone.device.facts.bundle["CFBundleVersion"] = "200";
  const auto later = phone.construct();
  EXPECT_EQ(phone.requests("init").size(), 1U);
}

TEST(AStart, HasWhatItWroteDurableWhenItReturns) {
  Phone phone;
  ObservedEnvironment environment(phone.process);
  const auto tracker = MarluneTracker::initMarluneWithParams(environment, demoApp);
  EXPECT_TRUE(environment.store.undurable().empty());
  EXPECT_FALSE(phone.stored("INIT_PAYLOAD").isNull());
}

TEST(AStart, ThatAsksForNoSettingsHasWhatItWroteDurableToo) {
  InstalledPhone phone;
  ObservedEnvironment environment(phone.process);
  const auto tracker = MarluneTracker::initMarluneWithParams(environment, demoApp);
  EXPECT_TRUE(phone.requests("init").empty());
  EXPECT_TRUE(environment.store.undurable().empty());
}

TEST(AnEnd, StopsEveryTimerThatTheProcessRefersTo) {
  for (const SharedTimer& shared : sharedTimers()) {
    Phone phone;
    auto tracker = phone.construct();
    const auto timer = std::make_shared<FakeTimer>();
    shared.in(phone.state()).store(timer);
    tracker.reset();
    EXPECT_TRUE(timer->valid) << shared.name << ": only the main queue may stop a timer";
    phone.process.runQueues();
    EXPECT_FALSE(timer->valid) << shared.name;
    EXPECT_EQ(shared.in(phone.state()).load(), nullptr) << shared.name;
  }
}

TEST(AnEnd, OfAStartThatFailedStopsNothing) {
  Phone phone;
  const auto kept = phone.construct();
  const auto timer = std::make_shared<FakeTimer>();
  phone.state().retryiAdAttributionTimer.store(timer);
  EXPECT_EQ(phone.construct(Dictionary()), nullptr);
  EXPECT_TRUE(timer->valid);
}

/// The timers, and the observers of the application's life, are the parent's.
TEST(AnEnd, InAForkOfTheProcessStopsNothing) {
  Phone phone;
  ObservedEnvironment environment(phone.process);
  auto tracker = MarluneTracker::initMarluneWithParams(environment, demoApp);
  const auto timer = std::make_shared<FakeTimer>();
  ProcessState::of(environment)->mlTrackerWaitTimer.store(timer);
  environment.inert = true;
  tracker.reset();
  phone.process.runQueues();
  EXPECT_TRUE(timer->valid);
  environment.inert = false;
}

/// A store that holds something else than the tracker ever wrote.
TEST(Construction, CopesWithAnyStoredValue) {
  Phone reference;
  reference.construct();
  const auto keys = reference.device.store.all().entries();
  for (const Dictionary::Entry& key : keys) {
    for (const Value& value : wrongValues()) {
      Phone phone;
      phone.device.store.setObject(value, key.key());
      phone.sendsOddities();  // what was stored
      const auto tracker = phone.construct();
      ASSERT_NE(tracker, nullptr) << key.key();
      phone.reply(1, Value{{"success", 1}});
      tracker->trackEvent("event", "value");
      phone.process.post(ApplicationNotification::didBecomeActive);
      phone.process.post(ApplicationNotification::didBecomeActive);
      phone.process.post(ApplicationNotification::willResignActive);
      phone.process.advance(120);
      EXPECT_TRUE(tracker->swiftRetrieveAttribution().empty() || key.key().ends_with(".attribution"));
    }
  }
}

/// A tracker whose store can be made to throw at whatever reads it.
class Endangered {
 public:
  Endangered() {
    phone.storeReportedInstall();
    environment.onLog = [this](std::string_view line) {
      caught += line.find("EXCEPTION (CAUGHT)") != std::string_view::npos ? 1 : 0;
    };
    tracker = MarluneTracker::initMarluneWithParams(environment, demoApp);
    phone.reply(1, neutral);
  }
  ~Endangered() {
    environment.store.onGet = [](std::string_view) {};
  }
  Endangered(const Endangered&) = delete;
  Endangered& operator=(const Endangered&) = delete;

  void breakStore() {
    environment.store.onGet = [](std::string_view) { throw std::runtime_error("the medium"); };
  }

  Phone phone;
  ObservedEnvironment environment{phone.process};
  std::shared_ptr<MarluneTracker> tracker;
  int caught = 0;
};

struct Entry {
  std::string_view name;
  std::function<void(Endangered&)> enter;
};

void expectGuarded(const std::vector<Entry>& entries) {
  for (const Entry& entry : entries) {
    SCOPED_TRACE(entry.name);
    Endangered a;
    a.breakStore();
    EXPECT_NO_THROW(entry.enter(a));
    EXPECT_EQ(a.caught, 1);
  }
}

TEST(Entries, OfTheHostAppAreGuarded) {
  expectGuarded({
      {"trackEvent", [](Endangered& a) { a.tracker->trackEvent("event", "value"); }},
      {"trackEvent with a receipt", [](Endangered& a) { a.tracker->trackEvent("event", "value", "receipt"); }},
      {"trackEventWithEventTitleString",
       [](Endangered& a) { a.tracker->trackEventWithEventTitleString("event", "value", true); }},
      {"identityLinkEvent",
       [](Endangered& a) {
         a.tracker->identityLinkEvent({{"user", "1"}});
       }},
      {"spatialEvent", [](Endangered& a) { a.tracker->spatialEvent("event", 1, 2, 3); }},
      {"sendDeepLink", [](Endangered& a) { a.tracker->sendDeepLink(URL("app://link"), "other"); }},
      {"setLimitAdTracking", [](Endangered& a) { a.tracker->setLimitAdTracking(true); }},
      {"handleWatchEvents", [](Endangered& a) { a.tracker->handleWatchEvents("link"); }},
      {"trackWatchEvent", [](Endangered& a) { a.tracker->trackWatchEvent("event", "value"); }},
  });
}

TEST(Entries, OfTheSystemAreGuarded) {
  const auto post = [](ApplicationNotification notification) {
    return [notification](Endangered& a) { a.phone.process.post(notification); };
  };
  expectGuarded({
      {"didBecomeActive", post(ApplicationNotification::didBecomeActive)},
      {"willResignActive", post(ApplicationNotification::willResignActive)},
  });
}

TEST(Entries, OfRepliesAreGuarded) {
  expectGuarded({
      {"MarluneInitResult", [](Endangered& a) { internalsOf(*a.tracker).MarluneInitResult(neutral); }},
      {"MarluneInitialResult", [](Endangered& a) { internalsOf(*a.tracker).MarluneInitialResult(neutral); }},
      {"iAdAttributionData", [](Endangered& a) { internalsOf(*a.tracker).iAdAttributionData(nullptr, false); }},
      {"currentLocationUpdate", [](Endangered& a) { internalsOf(*a.tracker).currentLocationUpdate(nullptr); }},
  });
}

TEST(Entries, OfAnAttributionReplyAreGuardedAgainstAStoreThatCannotBeWritten) {
  Endangered a;
  a.environment.store.onSet = [](std::string_view, const Value&) { throw std::runtime_error("the medium"); };
  EXPECT_NO_THROW(internalsOf(*a.tracker).MarluneRetrieveAttribution({{"success", 1}, {"data", Value{{"retry", -1}}}}));
  EXPECT_EQ(a.caught, 1);
}

TEST(Entries, OfTimersAreGuarded) {
  struct Armed {
    std::string_view selector;
    std::function<void(TrackerImplementation&)> arm;
  };
  for (const Armed& timer : {
           Armed{"batchQueueTimerFired:", [](TrackerImplementation& parts) { parts.batch.appendBatchEvent("record"); }},
           Armed{"marluneAttributionCheckTimerFired:",
                 [](TrackerImplementation& parts) { parts.attribution.armCheckTimer(); }},
           Armed{"marluneAttributionTimerFired:",
                 [](TrackerImplementation& parts) { parts.MarluneRetrieveAttribution(Dictionary()); }},
       }) {
    SCOPED_TRACE(timer.selector);
    Endangered a;
    timer.arm(internalsOf(*a.tracker));
    a.phone.process.runQueues();
    ASSERT_EQ(a.phone.timers(timer.selector).size(), 1U);
    a.breakStore();
    EXPECT_NO_THROW(a.phone.process.advance(60));
    EXPECT_EQ(a.caught, 1);
  }
}

TEST(Entries, OfTasksAreGuarded) {
  Endangered a;
  a.tracker->trackEvent("event", "value");
  a.breakStore();
  EXPECT_NO_THROW(a.phone.process.runQueues());  // the task that arms the timer reads the wait
  EXPECT_EQ(a.caught, 1);
}

TEST(Entries, OfABackgroundFlushAreGuarded) {
  Endangered a;
  a.phone.store("sessionTracking", 2);  // the record of a pause would post a task of its own
  a.tracker->trackEvent("event", "value");
  a.phone.process.runQueues();
  a.phone.process.post(ApplicationNotification::willResignActive);
  a.breakStore();
  EXPECT_NO_THROW(a.phone.process.runQueues());
  EXPECT_EQ(a.caught, 1);
}

/// Entries that write. What they wrote is durable when they return: a kill at any moment behind them loses nothing.
const std::vector<Entry>& writers() {
  static const std::vector<Entry> entries{
      {"trackEvent", [](Endangered& a) { a.tracker->trackEvent("event", "value"); }},
      {"the 25th record",
       [](Endangered& a) {
         for (int number = 0; number < 25; ++number) a.tracker->trackEvent("event", "value");
       }},
      {"identityLinkEvent",
       [](Endangered& a) {
         a.tracker->identityLinkEvent({{"user", "1"}});
       }},
      {"spatialEvent", [](Endangered& a) { a.tracker->spatialEvent("event", 1, 2, 3); }},
      {"sendDeepLink", [](Endangered& a) { a.tracker->sendDeepLink(URL("app://link"), "other"); }},
      {"setLimitAdTracking that changes something", [](Endangered& a) { a.tracker->setLimitAdTracking(true); }},
      {"setLimitAdTracking that changes nothing", [](Endangered& a) { a.tracker->setLimitAdTracking(false); }},
      {"handleWatchEvents", [](Endangered& a) { a.tracker->handleWatchEvents("link"); }},
      {"handleWatchEvents put off",
       [](Endangered& a) {
         a.phone.store("firstInitReceived", false);
         a.tracker->handleWatchEvents("link");
       }},
      {"trackWatchEvent put off",
       [](Endangered& a) {
         a.phone.store("firstInitReceived", false);
         a.phone.store("pairedAppleWatches", Array());
         a.tracker->trackWatchEvent("event", "value");
       }},
      {"an init reply", [](Endangered& a) { internalsOf(*a.tracker).MarluneInitResult(neutral); }},
      {"an init reply that asks for the report",
       [](Endangered& a) { internalsOf(*a.tracker).MarluneInitResult(Dictionary()); }},
      {"an install reply", [](Endangered& a) { internalsOf(*a.tracker).MarluneInitialResult(neutral); }},
      {"a search-ad answer", [](Endangered& a) { internalsOf(*a.tracker).iAdAttributionData(nullptr, false); }},
      {"a fix", [](Endangered& a) { internalsOf(*a.tracker).currentLocationUpdate(nullptr); }},
      {"a final attribution reply",
       [](Endangered& a) {
         internalsOf(*a.tracker).MarluneRetrieveAttribution({{"success", 1}, {"data", Value{{"retry", -1}}}});
       }},
      {"an init reply while the result is wanted",
       [](Endangered& a) {
         a.phone.store("requestAttribution", true);
         internalsOf(*a.tracker).MarluneInitResult(neutral);
       }},
      {"a flush", [](Endangered& a) { internalsOf(*a.tracker).batch.flushBatchQueue(false); }},
      {"a parked install report",
       [](Endangered& a) {
         a.phone.store("initialPayload", Value{{"action", "initial"}});
         a.phone.process.advance(1);
       }},
      {"an activation", [](Endangered& a) { a.phone.process.post(ApplicationNotification::didBecomeActive); }},
      {"a change of the device's limit",
       [](Endangered& a) {
         a.phone.device.facts.adTrackingEnabled = false;
         internalsOf(*a.tracker).properties.checkDeviceLimitTracking();
       }},
  };
  return entries;
}

TEST(Entries, HaveWhatTheyWroteDurableWhenTheyReturn) {
  for (const Entry& entry : writers()) {
    SCOPED_TRACE(entry.name);
    Endangered a;
    entry.enter(a);
    for (const std::string& key : a.environment.store.undurable()) ADD_FAILURE() << "a kill would lose " << key;
  }
}

TEST(Entries, WishForDurabilityBehindTheirLastWrite) {
  for (const Entry& entry : writers()) {
    SCOPED_TRACE(entry.name);
    Endangered a;
    a.environment.store.hasGroups = false;
    entry.enter(a);
    for (const std::string& key : a.environment.store.undurable()) ADD_FAILURE() << "a kill would lose " << key;
  }
}

/// Fails when a key that ends so is not durable.
void expectDurable(const ObservedStore& store, std::initializer_list<std::string_view> endings) {
  for (const std::string& key : store.undurable()) {
    for (const std::string_view ending : endings) EXPECT_FALSE(key.ends_with(ending)) << "a kill would lose " << key;
  }
}

TEST(Entries, HaveARequestDurableBeforeItsCollaboratorIsMade) {
  for (const Entry& entry : writers()) {
    SCOPED_TRACE(entry.name);
    Endangered a;
    a.environment.store.hasGroups = false;
    a.environment.onMake = [&] { expectDurable(a.environment.store, {"networkQueue"}); };
    entry.enter(a);
    a.environment.onMake = [] {};
  }
}

TEST(Entries, HaveTheDevicesLimitDurableBeforeTheyReadOn) {
  Endangered a;
  a.environment.store.hasGroups = false;
  a.environment.store.onGet = [&](std::string_view) { expectDurable(a.environment.store, {"device_limit_tracking"}); };
  internalsOf(*a.tracker).MarluneInitResult(Dictionary());
  EXPECT_FALSE(a.phone.stored("device_limit_tracking").isNull());
}

TEST(AStart, HasItsRequestDurableBeforeItsCollaboratorIsMade) {
  Phone phone;
  ObservedEnvironment environment(phone.process);
  environment.store.hasGroups = false;
  int made = 0;
  environment.onMake = [&] {
    ++made;
    expectDurable(environment.store, {"INIT_PAYLOAD"});
  };
  const auto tracker = MarluneTracker::initMarluneWithParams(environment, demoApp);
  EXPECT_GT(made, 0);
  environment.onMake = [] {};
}

}  // namespace
}  // namespace fliprugair
