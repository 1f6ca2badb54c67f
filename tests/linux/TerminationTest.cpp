// How an environment ends: what it waits for, what it does not, and what may still be held when it has ended.

#include <stdexcept>
#include <thread>

#include "Fliprugair/platform/linux/LinuxEnvironment.h"
#include "linux/Support.h"

namespace fliprugair {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

TEST(LinuxTermination, TheDestructorTerminates) {
  for (const MainThread mainThread : {MainThread::own, MainThread::host}) {
    int terminated = 0;
    const auto store = std::make_shared<MemoryUserDefaults>();
    LinuxOptions options = isolatedOptions(mainThread);
    options.userDefaults = store;
    {
      const auto environment = opened(options);
      environment->notificationCenter().addObserver(&terminated, ApplicationNotification::willTerminate,
                                                    [&] { ++terminated; });
      environment->terminate();
      environment->terminate();
    }
    EXPECT_EQ(terminated, 1);
    EXPECT_EQ(store->synchronizations, 1);
  }
}

TEST(LinuxTermination, IsNotToldOfWhenItStopsForGood) {
  for (const MainThread mainThread : {MainThread::own, MainThread::host}) {
    auto environment = opened(isolatedOptions(mainThread));
    std::atomic<int> told = 0;
    environment->notificationCenter().addObserver(&told, ApplicationNotification::willTerminate, [&] { ++told; });
    environment->applicationDidBecomeActive();
    LinuxEnvironment::stopForGood(std::move(environment));
    EXPECT_EQ(told, 0);
  }
}

TEST(LinuxTermination, WaitsForBackgroundTasksWhileEverythingGoesOn) {
  for (const MainThread mainThread : {MainThread::own, MainThread::host}) {
    LinuxOptions options = isolatedOptions(mainThread);
    options.backgroundTaskTime = 1h;
    const auto environment = opened(options);
    Record record;
    environment->notificationCenter().addObserver(&record, ApplicationNotification::willResignActive, [&] {
      const BackgroundTaskIdentifier task =
          environment->application().beginBackgroundTask("flush", [&] { record.add("expired"); });
      environment->globalQueue().async([&, task] {
        environment->mainQueue().async([&, task] {
          environment->mainQueue().scheduleTimer(0.01, "tested", [&, task] {
            environment->globalQueue().async([&, task] {
              record.add("sent");
              environment->application().endBackgroundTask(task);
            });
          });
        });
      });
    });
    environment->applicationWillResignActive();
    environment->terminate();
    EXPECT_EQ(record.lines(), std::vector<std::string>{"sent"});
  }
}

TEST(LinuxTermination, EndsWhenABackgroundTaskHasExpired) {
  LinuxOptions options = isolatedOptions();
  options.backgroundTaskTime = 20ms;
  const auto environment = opened(options);
  int expired = 0;
  const auto begin = Clock::now();
  environment->application().beginBackgroundTask("flush", [&] { ++expired; });
  environment->terminate();
  EXPECT_EQ(expired, 1);
  EXPECT_GE(Clock::now() - begin, 20ms);
}

TEST(LinuxTermination, InsideATaskEndsTheRun) {
  const auto environment = opened(isolatedOptions(MainThread::host));
  Record record;
  environment->notificationCenter().addObserver(&record, ApplicationNotification::willTerminate,
                                                [&] { record.add("terminating"); });
  environment->mainQueue().async([&] {
    environment->terminate();
    record.add("returned");
  });
  environment->run();
  EXPECT_EQ(record.lines(), (std::vector<std::string>{"returned", "terminating"}));
}

TEST(LinuxTermination, InsideATaskOfTheOwnThreadReturnsAtOnce) {
  const auto environment = opened(isolatedOptions());
  Happening returned;
  environment->mainQueue().async([&] {
    environment->terminate();
    returned.happens();
  });
  environment->applicationDidFinishLaunching();
  EXPECT_TRUE(returned.happened());
  environment->terminate();
  EXPECT_FALSE(environment->onMain([] {}));
}

TEST(LinuxTermination, InsideASearchAdSourceReturnsAtOnce) {
  for (const MainThread mainThread : {MainThread::own, MainThread::host}) {
    LinuxEnvironment* given = nullptr;
    Happening returned;
    LinuxOptions options = isolatedOptions(mainThread);
    options.searchAdSource = [&](const auto&) {
      given->terminate();
      returned.happens();
    };
    const auto store = std::make_shared<MemoryUserDefaults>();
    options.userDefaults = store;
    const auto environment = opened(options);
    given = environment.get();
    environment->makeRetrieveiAdAttribution()->retrieveiAdAttribution(false);
    EXPECT_TRUE(returned.happened());
    environment->terminate();
    EXPECT_EQ(store->synchronizations, 1);
    EXPECT_FALSE(environment->onMain([] {}));
  }
}

/// A host app's thread that answers a search-ad question when it is told to.
struct LateSource {
  Happening asked;
  std::function<void(const Value&, bool)> answer;

  SearchAdSource source() {
    return [this](std::function<void(const Value&, bool)> given) {
      answer = std::move(given);
      asked.happens();
    };
  }
};

struct CountingListener final : MarluneiAdAttributionDelegate {
  void iAdAttributionData(const Value& /*details*/, bool /*unknown*/) override {
    ++answers;
    if (onAnswer) onAnswer();
  }
  std::atomic<int> answers = 0;
  std::function<void()> onAnswer;
};

TEST(LinuxTermination, AnAnswerAfterTheEndHasNoEffect) {
  LateSource late;
  LinuxOptions options = isolatedOptions();
  options.searchAdSource = late.source();
  const auto listener = std::make_shared<CountingListener>();
  {
    const auto environment = opened(options);
    const auto attribution = environment->makeRetrieveiAdAttribution();
    attribution->setIAdAttributionDelegate(listener);
    attribution->retrieveiAdAttribution(false);
    ASSERT_TRUE(late.asked.happened());
  }
  late.answer(nullptr, false);
  EXPECT_EQ(listener->answers, 0);
}

TEST(LinuxTermination, TheEndWaitsForAnAnswerThatIsBeingDelivered) {
  LateSource late;
  LinuxOptions options = isolatedOptions();
  options.searchAdSource = late.source();
  auto environment = opened(options);
  const auto listener = std::make_shared<CountingListener>();
  Happening begun;
  std::atomic<bool> over = false;
  listener->onAnswer = [&] {
    environment->terminate();  // returns at once
    begun.happens();
    // An end that wrongly does not wait comes within this; nothing signals that it has not.
    std::this_thread::sleep_for(50ms);
    over = true;
  };
  const auto attribution = environment->makeRetrieveiAdAttribution();
  attribution->setIAdAttributionDelegate(listener);
  attribution->retrieveiAdAttribution(false);
  ASSERT_TRUE(late.asked.happened());
  std::thread host([&] { late.answer(nullptr, false); });
  EXPECT_TRUE(begun.happened());
  environment->terminate();
  EXPECT_TRUE(over);
  host.join();
}

TEST(LinuxTermination, OnMainRunsNothingAfterTheEnd) {
  for (const MainThread mainThread : {MainThread::own, MainThread::host}) {
    const auto environment = opened(isolatedOptions(mainThread));
    environment->terminate();
    bool ran = false;
    EXPECT_FALSE(environment->onMain([&] { ran = true; }));
    EXPECT_FALSE(ran);
  }
}

TEST(LinuxTermination, LifecycleCallsReturnAlthoughATaskOfTheOwnThreadHasTerminated) {
  const auto environment = opened(isolatedOptions());
  environment->mainQueue().async([&] { environment->terminate(); });
  for (int call = 0; call < 1000; ++call) environment->applicationWillResignActive();
  environment->terminate();
  EXPECT_FALSE(environment->onMain([] {}));
}

/// Stands for a tracker: its end reaches for every part of the platform.
std::shared_ptr<void> usesPlatformWhenDestroyed(LinuxEnvironment& environment, std::atomic<int>& destroyed) {
  return std::shared_ptr<void>(nullptr, [&](void*) {
    environment.mainQueue().async([] {});
    environment.globalQueue().async([] {});
    environment.notificationCenter().removeObserver(&destroyed);
    environment.application().endBackgroundTask(environment.application().beginBackgroundTask("last", nullptr));
    environment.userDefaults().setObject(1, "key");
    environment.makeRetrieveiAdAttribution()->retrieveiAdAttribution(false);
    environment.log("destroyed");
    ++destroyed;
  });
}

TEST(LinuxTermination, TasksAndTimersThatAreLeftMayHoldTheLastReferenceOfATracker) {
  for (const MainThread mainThread : {MainThread::own, MainThread::host}) {
    std::atomic<int> destroyed = 0;
    bool ran = false;
    {
      const auto environment = opened(isolatedOptions(mainThread));
      environment->mainQueue().scheduleTimer(
          3600, "tested", [&ran, held = usesPlatformWhenDestroyed(*environment, destroyed)] { ran = true; });
      environment->notificationCenter().addObserver(&ran, ApplicationNotification::willTerminate, [&] {
        // Posts itself again and again, so that there is always one left.
        struct Endless {
          LinuxEnvironment& environment;
          std::shared_ptr<void> held;
          void operator()() const { environment.mainQueue().async(*this); }
        };
        environment->mainQueue().async(Endless{*environment, usesPlatformWhenDestroyed(*environment, destroyed)});
      });
    }
    EXPECT_EQ(destroyed, 2);
    EXPECT_FALSE(ran);
  }
}

TEST(LinuxTermination, ATimerMayOutliveTheEnvironment) {
  auto environment = opened(isolatedOptions());
  const auto timer = environment->mainQueue().scheduleTimer(3600, "tested", [] {});
  environment.reset();
  EXPECT_FALSE(timer->isValid());
}

}  // namespace
}  // namespace fliprugair
