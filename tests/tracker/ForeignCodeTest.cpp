// The delegate and the log sink belong to the host app: they may call back, from any thread, and may throw.

#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>

#include "tracker/ObservedEnvironment.h"
#include "tracker/Phone.h"

namespace fliprugair {
namespace {

using namespace std::chrono_literals;

/// Whether another thread can make `call` while this one waits for it: not, when this one holds a lock that it needs.
class OtherThread {
 public:
  ~OtherThread() { join(); }
  void join() {
    for (std::thread& thread : threads_) thread.join();
    threads_.clear();
  }
  bool finishes(std::function<void()> call) {
    auto done = std::make_shared<std::promise<void>>();
    auto finished = done->get_future();
    threads_.emplace_back([call = std::move(call), done] {
      call();
      done->set_value();
    });
    return finished.wait_for(5s) == std::future_status::ready;
  }

 private:
  std::vector<std::thread> threads_;
};

class ActingDelegate final : public MarluneTrackerClientDelegate {
 public:
  explicit ActingDelegate(std::function<void(const Value&)> action) : action_(std::move(action)) {}
  void Marlune_attributionResult(const Value& attribution) override { action_(attribution); }

 private:
  std::function<void(const Value&)> action_;
};

const Value finalAnswer{{"success", 1}, {"data", Value{{"retry", -1}, {"attribution", Value{{"source", "ad"}}}}}};

/// What a host app may do at any time.
void useAll(MarluneTracker& tracker) {
  tracker.enableConsoleLogging(true);
  tracker.trackEvent("event", "value");
  tracker.spatialEvent("place", 1, 2, 3);
  tracker.identityLinkEvent(Value{{"user", "1"}});
  tracker.setLimitAdTracking(true);
  tracker.handleWatchEvents("watch");
  tracker.retrieveAttribution();
  tracker.setCustomIdString("id");
  tracker.setTrackerDelegate(tracker.trackerDelegate());
  internalsOf(tracker).iAdAttributionData(Value{{"iAdAttribution", "true"}}, false);
  internalsOf(tracker).MarluneInitialResult(Dictionary());
  internalsOf(tracker).currentLocationUpdate(Value{{"latitude", 1}, {"longitude", 2}, {"accuracy", 3}});
}

TEST(ADelegate, MayUseTheTrackerWhileItIsCalled) {
  Phone phone;
  const auto tracker = phone.construct();
  int calls = 0;
  const auto delegate = std::make_shared<ActingDelegate>([&](const Value& attribution) {
    ++calls;
    EXPECT_EQ(attribution, Value({{"source", "ad"}}));
    EXPECT_EQ(tracker->retrieveAttribution(), attribution);
    useAll(*tracker);
  });
  tracker->setTrackerDelegate(delegate);
  internalsOf(*tracker).MarluneRetrieveAttribution(finalAnswer);
  EXPECT_EQ(calls, 1);
}

TEST(ADelegate, IsCalledWithNoLockHeld) {
  Phone phone;
  const auto tracker = phone.construct();
  OtherThread other;
  bool free = false;
  const auto delegate =
      std::make_shared<ActingDelegate>([&](const Value&) { free = other.finishes([&] { useAll(*tracker); }); });
  tracker->setTrackerDelegate(delegate);
  internalsOf(*tracker).MarluneRetrieveAttribution(finalAnswer);
  EXPECT_TRUE(free);
}

TEST(ADelegate, MayDropTheTrackerThatCallsIt) {
  Phone phone;
  auto tracker = phone.construct();
  const std::weak_ptr<MarluneTracker> weak = tracker;
  const auto delegate = std::make_shared<ActingDelegate>([&](const Value&) { tracker.reset(); });
  tracker->setTrackerDelegate(delegate);
  phone.reply(1, neutral);
  if (const auto caller = weak.lock()) internalsOf(*caller).MarluneRetrieveAttribution(finalAnswer);
  phone.process.runQueues();
  EXPECT_TRUE(weak.expired());
  EXPECT_EQ(phone.stored("requestAttribution"), Value(false));
}

TEST(ADelegate, IsNotKeptAlive) {
  Phone phone;
  const auto tracker = phone.construct();
  auto delegate = std::make_shared<ActingDelegate>([](const Value&) { FAIL() << "called after its end"; });
  tracker->setTrackerDelegate(delegate);
  delegate.reset();
  EXPECT_EQ(tracker->trackerDelegate(), nullptr);
  internalsOf(*tracker).MarluneRetrieveAttribution(finalAnswer);
  EXPECT_EQ(tracker->retrieveAttribution(), Value({{"source", "ad"}}));
}

TEST(ADelegate, ThatThrowsHarmsNobody) {
  Phone phone;
  const auto tracker = phone.construct({{"marluneAppId", "demo"}, {"retrieveAttribution", true}});
  const auto delegate =
      std::make_shared<ActingDelegate>([](const Value&) { throw std::runtime_error("the host's own"); });
  tracker->setTrackerDelegate(delegate);
  EXPECT_NO_THROW(internalsOf(*tracker).MarluneRetrieveAttribution(finalAnswer));
  EXPECT_EQ(phone.stored("requestAttribution"), Value(false));
  EXPECT_EQ(phone.stored("attribution"), Value({{"source", "ad"}}));
}

TEST(ADelegate, ThatThrowsWhatIsNoExceptionHarmsNobody) {
  Phone phone;
  const auto tracker = phone.construct({{"marluneAppId", "demo"}, {"retrieveAttribution", true}});
  const auto delegate = std::make_shared<ActingDelegate>([](const Value&) { throw 42; });
  tracker->setTrackerDelegate(delegate);
  EXPECT_NO_THROW(internalsOf(*tracker).MarluneRetrieveAttribution(finalAnswer));
  EXPECT_EQ(phone.stored("requestAttribution"), Value(false));
}

const Value logging{{"marluneAppId", "demo"}, {"enableLogging", true}};

TEST(ALogSink, MayUseTheTrackerWhileItIsCalled) {
  Phone phone;
  ObservedEnvironment environment(phone.process);
  const auto tracker = MarluneTracker::initMarluneWithParams(environment, logging);
  int depth = 0;
  environment.onLog = [&](std::string_view) {
    if (depth == 2) return;
    ++depth;
    useAll(*tracker);
    --depth;
  };
  useAll(*tracker);
  phone.reply(1, Value{{"success", 0}});
  phone.process.advance(5);
  EXPECT_GT(phone.batch().size() + phone.events("send").size(), 2U);
}

TEST(ALogSink, IsCalledWithNoLockHeld) {
  Phone phone;
  ObservedEnvironment environment(phone.process);
  const auto tracker = MarluneTracker::initMarluneWithParams(environment, logging);
  OtherThread other;
  int lines = 0;
  bool inOther = false;
  environment.onLog = [&](std::string_view line) {
    if (inOther) return;
    ++lines;
    inOther = true;
    EXPECT_TRUE(other.finishes([&] { useAll(*tracker); })) << line;
    inOther = false;
  };
  tracker->trackEvent(nullptr, nullptr);
  tracker->trackEvent("event", "value");
  tracker->trackEventWithEventStandardParameters(nullptr);
  internalsOf(*tracker).iAdAttributionData(nullptr, false);
  internalsOf(*tracker).MarluneInitResult(Dictionary());
  EXPECT_GE(lines, 5);
}

/// The virtual device's events are a log sink too.
TEST(ALogSink, OfTheVirtualDeviceIsCalledWithNoLockHeld) {
  std::weak_ptr<MarluneTracker> used;
  const auto other = std::make_unique<OtherThread>();
  bool asked = false;
  VirtualDevice device(
      [&](const Dictionary& event) {
        const auto tracker = used.lock();
        if (tracker == nullptr || asked || event["event"] != Value("log")) return;
        asked = true;
        EXPECT_TRUE(other->finishes([used] {
          if (const auto called = used.lock()) called->trackEvent(nullptr, nullptr);
        }));
      },
      [](std::string_view) { return false; });
  VirtualProcess process(device);
  const auto tracker = MarluneTracker::initMarluneWithParams(process, logging);
  used = tracker;
  tracker->trackEvent(nullptr, nullptr);
  EXPECT_TRUE(asked);
  other->join();
}

/// Makes every public call with a sink that throws `exception`.
template <class Exception>
void expectNoThrowOut(const Exception& exception) {
  bool armed = false;
  VirtualDevice device(
      [&](const Dictionary& event) {
        if (armed && event["event"] == Value("log")) throw exception;
      },
      [](std::string_view) { return false; });
  VirtualProcess process(device);
  armed = true;
  std::shared_ptr<MarluneTracker> tracker;
  EXPECT_NO_THROW(tracker = MarluneTracker::initMarluneWithParams(process, logging));
  if (tracker == nullptr) {
    ADD_FAILURE() << "the construction failed because of its log sink";
    armed = false;
    tracker = MarluneTracker::initMarluneWithParams(process, logging);
    armed = true;
  }
  EXPECT_NO_THROW(tracker->trackEvent(nullptr, nullptr));
  EXPECT_NO_THROW(tracker->trackEvent("event", "value"));
  EXPECT_NO_THROW(tracker->spatialEvent(nullptr, 1, 2, 3));
  EXPECT_NO_THROW(tracker->identityLinkEvent(nullptr));
  EXPECT_NO_THROW(tracker->trackEventWithEventStandardParameters(nullptr));
  EXPECT_NO_THROW(internalsOf(*tracker).MarluneInitResult(Value{{"msg", Array({"resonance_cascade"})}}));
  EXPECT_NO_THROW(internalsOf(*tracker).MarluneInitResult(Dictionary()));
  EXPECT_NO_THROW(internalsOf(*tracker).MarluneInitialResult(Dictionary()));
  EXPECT_NO_THROW(internalsOf(*tracker).iAdAttributionData(nullptr, false));
  EXPECT_NO_THROW(internalsOf(*tracker).currentLocationUpdate(nullptr));
  EXPECT_NO_THROW(process.post(ApplicationNotification::willResignActive));
  EXPECT_NO_THROW(process.advance(100));
  // What is logged about is done all the same.
  EXPECT_EQ(device.store.objectForKey("com.marlune.MarluneTracker.firstInitReceived"), Value(true));
}

TEST(ACollaborator, ThatThrowsIsLoggedAndTheTrackerGoesOn) {
  Phone phone;
  ObservedEnvironment environment(phone.process);
  int exceptions = 0;
  environment.onLog = [&](std::string_view line) { exceptions += line.ends_with("the host's own") ? 1 : 0; };
  environment.onMake = [] { throw std::runtime_error("the host's own"); };
  const auto tracker = MarluneTracker::initMarluneWithParams(environment, {{"marluneAppId", "demo"}});
  ASSERT_NE(tracker, nullptr);
  EXPECT_EQ(exceptions, 2);  // the user agent's and the init request's

  internalsOf(*tracker).MarluneInitResult({{"success", 1}, {"flags", Value{{"mlinit_wait", 90}, {"currency", "eur"}}}});
  phone.process.runQueues();
  EXPECT_EQ(exceptions, 4);  // the hardware's and the search-ad's, after which the reply is dealt with to its end
  EXPECT_EQ(phone.stored("mlinitWait"), Value(90));
  EXPECT_EQ(phone.stored("currency"), Value("eur"));
  EXPECT_EQ(phone.stored("firstInitReceived"), Value(true));
  EXPECT_EQ(phone.timers("marluneAttributionCheckTimerFired:").size(), 1U);

  for (int number = 0; number < 25; ++number) tracker->trackEvent("event", "value");
  EXPECT_EQ(exceptions, 5);
  // They wait in one place alone.
  EXPECT_EQ(phone.batch().size(), 0U);
  EXPECT_EQ(phone.stored("networkQueue").dictionary().size(), 1U);
}

/// A phone whose network collaborator throws for as long as `isRefusing`.
struct RefusingPhone : InstalledPhone {
  RefusingPhone() {
    environment.onMake = [this] {
      if (isRefusing) throw std::runtime_error("the host's own");
    };
    tracker = MarluneTracker::initMarluneWithParams(environment, Value{{"marluneAppId", "demo"}});
    forgetEvents();
  }
  ~RefusingPhone() { tracker = nullptr; }  // before its environment
  RefusingPhone(const RefusingPhone&) = delete;
  RefusingPhone& operator=(const RefusingPhone&) = delete;

  bool isRefusing = true;
  ObservedEnvironment environment{process};
};

TEST(ACollaborator, ThatThrowsHasAParkedReportNotSentTwice) {
  RefusingPhone phone;
  phone.store("initialPayload", Value{{"action", "initial"}});
  EXPECT_NO_THROW(phone.parts().installReport.sendParked());
  EXPECT_EQ(phone.stored("networkQueue").dictionary().size(), 1U);
  phone.isRefusing = false;
  phone.parts().installReport.sendParked();
  EXPECT_EQ(phone.stored("networkQueue").dictionary().size(), 1U);
  EXPECT_TRUE(phone.requests("initial").empty());
}

TEST(ACollaborator, ThatThrowsHasAChangeNotReportedTwice) {
  RefusingPhone phone;
  phone.device.facts.languages = {"de"};
  EXPECT_NO_THROW(phone.parts().properties.checkWatchPropertiesChanged());
  EXPECT_EQ(phone.stored("networkQueue").dictionary().size(), 1U);
  phone.isRefusing = false;
  phone.parts().properties.checkWatchPropertiesChanged();
  EXPECT_EQ(phone.stored("networkQueue").dictionary().size(), 1U);
  EXPECT_TRUE(phone.requests("update").empty());
}

TEST(AStore, ThatThrowsWhereItsGroupsBeginOrEndHarmsNobody) {
  Phone phone;
  ObservedEnvironment environment(phone.process);
  int exceptions = 0;
  environment.onLog = [&](std::string_view line) { exceptions += line.ends_with("the host's own") ? 1 : 0; };
  const auto tracker = MarluneTracker::initMarluneWithParams(environment, {{"marluneAppId", "demo"}});
  const auto refuse = [] { throw std::runtime_error("the host's own"); };
  environment.store.onEndGroup = refuse;
  EXPECT_NO_THROW(tracker->trackEvent("written", "value"));
  EXPECT_EQ(exceptions, 1);
  environment.store.onEndGroup = [] {};
  environment.store.onBeginGroup = refuse;
  EXPECT_NO_THROW(tracker->trackEvent("not written", "value"));
  EXPECT_EQ(exceptions, 2);
  environment.store.onBeginGroup = [] {};
  EXPECT_EQ(phone.batch().size(), 1U);
}

/// Cannot say what it consists of.
class UnwillingEnvironment final : public Environment {
 public:
  Platform& platform() override { throw std::runtime_error("the host's own"); }
  std::shared_ptr<MarluneNetworkAccess> makeNetworkAccess() override { return nullptr; }
  std::shared_ptr<MarluneLocationManager> makeLocationManager() override { return nullptr; }
  std::shared_ptr<MarluneRetrieveiAdAttribution> makeRetrieveiAdAttribution() override { return nullptr; }
  std::shared_ptr<MarluneHardwareInfo> makeHardwareInfo() override { return nullptr; }
  std::shared_ptr<WebViewUserAgent> makeWebViewUserAgent() override { return nullptr; }
};

TEST(AnEnvironment, ThatThrowsIsAFailedStart) {
  UnwillingEnvironment environment;
  std::shared_ptr<MarluneTracker> tracker;
  EXPECT_NO_THROW(tracker = MarluneTracker::initMarluneWithParams(environment, {{"marluneAppId", "demo"}}));
  EXPECT_EQ(tracker, nullptr);
}

TEST(ALogSink, ThatThrowsHarmsNobody) { expectNoThrowOut(std::runtime_error("the host's own")); }

TEST(ALogSink, ThatThrowsWhatIsNoExceptionHarmsNobody) { expectNoThrowOut(42); }

}  // namespace
}  // namespace fliprugair
