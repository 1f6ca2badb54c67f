#include <poll.h>
#include <sys/syscall.h>

#include <set>
#include <stdexcept>
#include <thread>

#include "Fliprugair/platform/linux/LinuxEnvironment.h"
#include "linux/Support.h"

namespace fliprugair {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// Turns the environment from a loop of the test's own, as a host app would, until `isDone`.
void pollUntil(LinuxEnvironment& environment, const std::function<bool()>& isDone, int* turns = nullptr) {
  while (!isDone()) {
    const auto deadline = environment.nextDeadline();
    int wait = -1;
    if (deadline) {
      wait = static_cast<int>(
          std::max<std::int64_t>(0, std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now()).count()));
    }
    pollfd watched{environment.fileDescriptor(), POLLIN, 0};
    ::poll(&watched, 1, wait);
    environment.poll();
    if (turns != nullptr) ++*turns;
  }
}

TEST(LinuxEnvironment, TheOwnThreadStartsWithTheFirstLifecycleCall) {
  const auto environment = opened(isolatedOptions());
  std::thread::id thread;
  Happening ran;
  environment->mainQueue().async([&] {
    thread = std::this_thread::get_id();
    ran.happens();
  });
  EXPECT_TRUE(environment->onMain([] {}));  // still here: the test's thread is the main thread
  EXPECT_FALSE(ran.hasHappened());
  environment->applicationDidFinishLaunching();
  ASSERT_TRUE(ran.happened());
  EXPECT_NE(thread, std::this_thread::get_id());
}

TEST(LinuxEnvironment, TimersFromBeforeTheOwnThreadFireOnIt) {
  const auto environment = opened(isolatedOptions());
  std::thread::id thread;
  Happening fired;
  environment->mainQueue().scheduleTimer(0.001, "tested", [&] {
    thread = std::this_thread::get_id();
    fired.happens();
  });
  environment->applicationDidFinishLaunching();
  ASSERT_TRUE(fired.happened());
  EXPECT_NE(thread, std::this_thread::get_id());
}

TEST(LinuxEnvironment, TheHostAppsThreadRunsTheMainQueueUntilItIsStopped) {
  const auto environment = opened(isolatedOptions(MainThread::host));
  std::thread::id thread;
  std::thread other([&] {
    environment->mainQueue().async([&] {
      environment->mainQueue().scheduleTimer(0.002, "tested", [&] {
        thread = std::this_thread::get_id();
        environment->stop();
      });
    });
  });
  environment->run();
  other.join();
  EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST(LinuxEnvironment, ALoopOfTheHostAppsCanTurnTheMainQueue) {
  const auto environment = opened(isolatedOptions(MainThread::host));
  EXPECT_EQ(environment->nextDeadline(), std::nullopt);
  bool fired = false;
  int turns = 0;
  std::thread other([&] {
    environment->mainQueue().async(
        [&] { environment->mainQueue().scheduleTimer(0.03, "tested", [&] { fired = true; }); });
  });
  pollUntil(
      *environment, [&] { return fired; }, &turns);
  other.join();
  EXPECT_EQ(environment->nextDeadline(), std::nullopt);
  EXPECT_LE(turns, 4);  // one for the task, one for the timer, and no spinning between them
}

TEST(LinuxEnvironment, TheDescriptorIsReadableOnlyWhenThereAreTasks) {
  const auto environment = opened(isolatedOptions(MainThread::host));
  pollfd watched{environment->fileDescriptor(), POLLIN, 0};
  EXPECT_EQ(::poll(&watched, 1, 0), 0);
  environment->mainQueue().async([] {});
  EXPECT_EQ(::poll(&watched, 1, 0), 1);
  const auto deadline = environment->nextDeadline();
  ASSERT_TRUE(deadline);
  EXPECT_LE(*deadline, Clock::now());
  environment->poll();
  EXPECT_EQ(::poll(&watched, 1, 0), 0);
}

TEST(LinuxEnvironment, LifecycleCallsReachTheMainThreadInOrder) {
  const auto environment = opened(isolatedOptions());
  Record record;
  std::set<std::thread::id> threads;
  const std::map<ApplicationNotification, std::string> names = {
      {ApplicationNotification::didFinishLaunching, "launched"},
      {ApplicationNotification::didBecomeActive, "active"},
      {ApplicationNotification::willResignActive, "resigning"},
      {ApplicationNotification::willTerminate, "terminating"}};
  for (const auto& [notification, name] : names) {
    environment->notificationCenter().addObserver(&record, notification, [&, name = name] {
      record.add(name);
      threads.insert(std::this_thread::get_id());
    });
  }
  environment->applicationDidFinishLaunching();
  environment->applicationDidBecomeActive();
  environment->applicationWillResignActive();
  environment->applicationWillTerminate();
  environment->applicationWillTerminate();
  environment->terminate();
  EXPECT_EQ(record.lines(), (std::vector<std::string>{"launched", "active", "resigning", "terminating"}));
  EXPECT_EQ(threads.size(), 1u);
  EXPECT_FALSE(threads.contains(std::this_thread::get_id()));
}

TEST(LinuxEnvironment, OnMainFromAnotherThreadStartsTheOwnThread) {
  const auto environment = opened(isolatedOptions());
  std::thread::id caller;
  std::thread::id thread;
  bool ran = false;
  std::thread other([&] {
    caller = std::this_thread::get_id();
    ran = environment->onMain([&] { thread = std::this_thread::get_id(); });
  });
  other.join();
  EXPECT_TRUE(ran);
  EXPECT_NE(thread, std::this_thread::get_id());
  EXPECT_NE(thread, caller);
}

TEST(LinuxEnvironment, OnMainWaitsForATaskOnTheMainThread) {
  const auto environment = opened(isolatedOptions());
  environment->applicationDidFinishLaunching();
  std::thread::id thread;
  std::thread::id nested;
  EXPECT_TRUE(environment->onMain([&] {
    thread = std::this_thread::get_id();
    environment->onMain([&] { nested = std::this_thread::get_id(); });
  }));
  EXPECT_NE(thread, std::this_thread::get_id());
  EXPECT_EQ(nested, thread);
}

TEST(LinuxEnvironment, OnMainReturnsAlthoughTheTaskThrows) {
  Record record;
  LinuxOptions options = isolatedOptions();
  options.log = record.log();
  const auto environment = opened(options);
  environment->applicationDidFinishLaunching();
  EXPECT_TRUE(environment->onMain([] { throw std::runtime_error("refused"); }));
  EXPECT_EQ(record.lines(), std::vector<std::string>{"A task of the main queue threw: refused"});
}

TEST(LinuxEnvironment, AnIdleEnvironmentSleeps) {
  const auto environment = opened(isolatedOptions());
  environment->applicationDidFinishLaunching();
  pid_t mainThread = 0;
  Happening ready;
  environment->onMain([&] {
    mainThread = static_cast<pid_t>(syscall(SYS_gettid));
    // One that is far away, and one that was invalidated before its time.
    environment->mainQueue().scheduleTimer(3600, "far", [] {});
    environment->mainQueue().scheduleTimer(0.05, "invalidated", [] {})->invalidate();
  });
  std::this_thread::sleep_for(50ms);  // in which the thread goes to sleep after onMain's task and a second look
  const long before = sleepsOf(mainThread);
  ASSERT_GT(before, 0);
  std::this_thread::sleep_for(500ms);  // in which one that polls wakes up
  EXPECT_EQ(sleepsOf(mainThread), before);
}

TEST(LinuxEnvironment, WhatTheLogThrowsIsDropped) {
  LinuxOptions options = isolatedOptions();
  options.log = [](std::string_view) { throw std::runtime_error("disk full"); };
  const auto environment = opened(options);
  EXPECT_NO_THROW(environment->log("line"));
}

TEST(LinuxEnvironment, LogLinesReachTheSink) {
  Record record;
  LinuxOptions options = isolatedOptions();
  options.log = record.log();
  opened(options)->log("line");
  EXPECT_EQ(record.lines(), std::vector<std::string>{"line"});
}

TEST(LinuxEnvironment, StatedFactsCanChange) {
  LinuxOptions options = isolatedOptions();
  options.facts.userAgent = "Browser/1";
  options.facts.hardware = "Box1,1";
  const auto environment = opened(options);
  EXPECT_EQ(environment->makeWebViewUserAgent()->userAgentString().string(), "Browser/1");
  EXPECT_EQ(environment->makeHardwareInfo()->obtainHardwareDescription().string(), "Box1,1");
  environment->setFacts({.statusBarOrientation = 3});
  EXPECT_EQ(environment->application().statusBarOrientation(), 3);
  EXPECT_TRUE(environment->makeWebViewUserAgent()->userAgentString().isNull());
}

TEST(LinuxEnvironment, TheHostAppsOwnPiecesAreUsed) {
  LinuxOptions options = isolatedOptions();
  const auto store = std::make_shared<MemoryUserDefaults>();
  const auto access = std::make_shared<NoNetworkAccess>();
  options.userDefaults = store;
  options.makeNetworkAccess = [access](Platform&) { return access; };
  const auto environment = opened(options);
  EXPECT_EQ(&environment->userDefaults(), store.get());
  EXPECT_EQ(environment->makeNetworkAccess(), access);
  EXPECT_NE(environment->makeLocationManager(), nullptr);
  EXPECT_NE(environment->makeRetrieveiAdAttribution(), nullptr);
}

TEST(LinuxEnvironment, AMakerOfTheHostAppsThatThrowsOrMakesNothingCostsItsOwnCollaborator) {
  Record record;
  LinuxOptions options = isolatedOptions();
  options.log = record.log();
  options.makeNetworkAccess = [](Platform&) -> std::shared_ptr<MarluneNetworkAccess> {
    throw std::runtime_error("no modem");
  };
  options.makeLocationManager = [](Platform&) { return std::shared_ptr<MarluneLocationManager>(); };
  const auto environment = opened(options);
  const auto access = environment->makeNetworkAccess();
  ASSERT_NE(access, nullptr);
  EXPECT_FALSE(access->sendHTTPRequestWithHostname("example.com", Value{{"action", "init"}}));
  EXPECT_NE(environment->makeLocationManager(), nullptr);
  EXPECT_EQ(record.lines(), std::vector<std::string>{"makeNetworkAccess threw: no modem"});
}

TEST(LinuxEnvironment, DocumentsAreInTheFolderThatTheHostAppNames) {
  LinuxOptions options = isolatedOptions();
  options.documentsFolder = "/srv/documents";
  const auto environment = opened(options);
  EXPECT_EQ(environment->documents().pathForFile("archive"), "/srv/documents/archive");
  EXPECT_FALSE(environment->documents().unarchivesAsObject("/srv/documents/archive"));
}

TEST(LinuxEnvironment, WithoutAFolderNamedThereAreNoDocuments) {
  const auto environment = opened(isolatedOptions());
  const std::string path = environment->documents().pathForFile("archive");
  EXPECT_FALSE(std::filesystem::path(path).is_absolute());
  EXPECT_FALSE(environment->documents().unarchivesAsObject(path));
}

std::string refusalOf(const std::optional<std::string>& bundleIdentifier) {
  LinuxOptions options = isolatedOptions();
  options.userDefaults = nullptr;
  options.bundleIdentifier = bundleIdentifier;
  const LinuxEnvironment::Result result = LinuxEnvironment::open(options);
  EXPECT_EQ(result.environment, nullptr);
  return result.error;
}

TEST(LinuxEnvironment, WithoutAPlaceForTheStoreThereIsAReasonInsteadOfAnEnvironment) {
  for (const auto& identifier : {std::optional<std::string>(), std::optional<std::string>("")}) {
    EXPECT_EQ(refusalOf(identifier), "The store has no place: give a bundle identifier, or the store's path.");
  }
}

TEST(LinuxEnvironment, ABundleIdentifierThatCannotNameTheStoresFolderIsNamedInTheReason) {
  for (const std::string identifier : {".", "..", "a/b", "/etc", "a/"}) {
    EXPECT_NE(refusalOf(identifier).find('"' + identifier + "\" cannot name a folder"), std::string::npos)
        << refusalOf(identifier);
  }
}

#if FLIPRUGAIR_CURL
TEST(LinuxEnvironment, DoesNotWaitUntilARequestIsSentOnTheThreadThatSendsIt) {
  LinuxOptions options = isolatedOptions();
  options.makeNetworkAccess = nullptr;
  Clock::duration waited{};
  std::thread::id thread;
  Happening returned;
  std::unique_ptr<LinuxEnvironment> environment;
  options.log = [&](std::string_view) {
    if (returned.hasHappened()) return;
    thread = std::this_thread::get_id();
    const auto begin = Clock::now();
    environment->waitUntilSent(20s);
    waited = Clock::now() - begin;
    returned.happens();
  };
  environment = opened(options);
  const auto access = environment->makeNetworkAccess();
  access->setLoggingEnabled(true);
  access->sendHTTPRequestWithHostname("127.0.0.1:1", Value{{"action", "init"}});  // nobody listens there
  ASSERT_TRUE(returned.happened());
  EXPECT_NE(thread, std::this_thread::get_id());
  EXPECT_LT(waited, 10s);
}
#endif

TEST(LinuxEnvironment, TheClockIsTheWallClock) {
  const auto environment = opened(isolatedOptions());
  const double before = std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  const double read = environment->secondsSince1970();
  const double after = std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  constexpr double slack = 2e-6;  // times are kept to the microsecond, and a real holds a quarter of one
  EXPECT_LE(before - slack, read);
  EXPECT_LE(read, after + slack);
}

}  // namespace
}  // namespace fliprugair
