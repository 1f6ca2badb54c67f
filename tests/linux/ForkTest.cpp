// The environment in a fork of the process that opened it.

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/MarluneTrackerClientDelegate.h"
#include "Fliprugair/platform/linux/LinuxEnvironment.h"
#include "linux/Support.h"
#include "platform/linux/StandIns.h"

namespace fliprugair {
namespace {

/// Runs `body` in a fork. Its exit status; -1 when it did not end within the patience of these tests, or crashed.
int statusOfFork(const std::function<int()>& body) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(body());
  const auto deadline = std::chrono::steady_clock::now() + patience;
  int status = 0;
  while (::waitpid(child, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      ::kill(child, SIGKILL);
      ::waitpid(child, &status, 0);
      return -1;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));  // a process tells nobody here of its end
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

struct Opened {
  explicit Opened(MainThread mainThread) {
    LinuxOptions options = isolatedOptions(mainThread);
    options.log = record.log();
    options.makeNetworkAccess = [](Platform&) { return std::make_shared<NoNetworkAccess>(); };
    environment = LinuxEnvironment::open(options).environment;
    environment->notificationCenter().addObserver(this, ApplicationNotification::didBecomeActive, [this] { ++active; });
  }

  Record record;
  int active = 0;
  std::unique_ptr<LinuxEnvironment> environment;
};

TEST(Fork, TheChildsCallsDoNothingAndSayItOnce) {
  for (const MainThread mainThread : {MainThread::own, MainThread::host}) {
    Opened opened(mainThread);
    LinuxEnvironment& environment = *opened.environment;
    if (mainThread == MainThread::own) environment.applicationDidFinishLaunching();
    const int status = statusOfFork([&] {
      environment.applicationDidBecomeActive();
      environment.applicationWillResignActive();
      environment.run();
      environment.poll();
      environment.stop();
      bool ran = environment.onMain([] {});
      environment.mainQueue().async([&] { ran = true; });
      environment.globalQueue().async([&] { ran = true; });
      environment.application().endBackgroundTask(environment.application().beginBackgroundTask("task", nullptr));
      const bool sent = environment.makeNetworkAccess()->sendHTTPRequestWithHostname("host", Value{{"action", "init"}});
      environment.makeLocationManager()->initLocationServices(true, 50, 60);
      environment.makeRetrieveiAdAttribution()->retrieveiAdAttribution(true);
      environment.waitUntilSent(std::chrono::hours(1));
      environment.terminate();
      const bool isInert = !ran && !sent && opened.active == 0 && !environment.nextDeadline();
      return isInert && opened.record.lines().size() == 1 ? 0 : 1;
    });
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(opened.record.lines().empty());
    environment.applicationDidBecomeActive();
    environment.terminate();
    EXPECT_EQ(opened.active, 1);
  }
}

std::shared_ptr<MarluneTracker> trackerOf(LinuxEnvironment& environment) {
  return MarluneTracker::initMarluneWithParams(environment, Value{{"marluneAppId", "demo"}});
}

/// Uses all that a tracker offers.
void useOf(MarluneTracker& tracker) {
  tracker.trackEvent("level", "7");
  tracker.spatialEvent("place", 1, 2, 3);
  tracker.identityLinkEvent(Value{{"a", "b"}});
  tracker.sendDeepLink(URL("app://host"), "other");
  tracker.handleWatchEvents();
  tracker.trackWatchEvent("step", "1");
  tracker.setLimitAdTracking(true);
  tracker.retrieveAttribution();
  tracker.setCustomIdString("user");
  tracker.customIdString();
  tracker.setTrackerDelegate(nullptr);
  tracker.trackerDelegate();
  tracker.setIAdAttributionManager(nullptr);
  tracker.iAdAttributionManager();
}

TEST(Fork, TheChildsTrackersDoNothingAndSayItOnce) {
  Opened opened(MainThread::host);
  std::shared_ptr<MarluneTracker> tracker = trackerOf(*opened.environment);
  tracker->setCustomIdString("user of the parent");
  const int status = statusOfFork([&] {
    useOf(*tracker);
    const bool isInert = tracker->customIdString().isNull() && trackerOf(*opened.environment) == nullptr;
    tracker.reset();
    return isInert && opened.record.lines().size() == 1 ? 0 : 1;
  });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(tracker->customIdString(), Value("user of the parent"));
}

#ifndef FLIPRUGAIR_SANITIZED  // their allocators may be left locked in a child by a thread of its parent
TEST(Fork, TheChildWaitsForNoThreadOfTheParentsThatIsInACall) {
  Opened opened(MainThread::own);
  std::shared_ptr<MarluneTracker> tracker = trackerOf(*opened.environment);
  std::atomic<bool> ends = false;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&] {
      while (!ends) useOf(*tracker);
    });
  }
  threads.emplace_back([&] {
    while (!ends) {
      opened.environment->applicationWillResignActive();
      opened.environment->applicationDidBecomeActive();
    }
  });
  for (int fork = 0; fork < 10; ++fork) {
    EXPECT_EQ(statusOfFork([&] {
                useOf(*tracker);
                tracker.reset();
                opened.environment.reset();
                return 0;
              }),
              0);
  }
  ends = true;
  for (std::thread& thread : threads) thread.join();
  tracker.reset();
}
#endif

TEST(Fork, DestroyingTheChildsCopyEndsAtOnce) {
  for (const MainThread mainThread : {MainThread::own, MainThread::host}) {
    Opened opened(mainThread);
    if (mainThread == MainThread::own) opened.environment->applicationDidFinishLaunching();
    Happening busy;
    opened.environment->globalQueue().async([&] { busy.happens(); });
    ASSERT_TRUE(busy.happened());
    EXPECT_EQ(statusOfFork([&] {
                opened.environment.reset();
                return 0;
              }),
              0);
    bool ran = false;
    if (mainThread == MainThread::own) {
      EXPECT_TRUE(opened.environment->onMain([&] { ran = true; }));
    }
    EXPECT_EQ(ran, mainThread == MainThread::own);
    opened.environment->terminate();
  }
}

TEST(Fork, TheChildCanOpenAnEnvironmentOfItsOwn) {
  Opened opened(MainThread::host);
  EXPECT_EQ(statusOfFork([&] {
              Opened own(MainThread::host);
              own.environment->applicationDidBecomeActive();
              own.environment->terminate();
              return own.active == 1 && own.record.lines().empty() ? 0 : 1;
            }),
            0);
}

}  // namespace
}  // namespace fliprugair
