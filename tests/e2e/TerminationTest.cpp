// What is being sent when the environment ends, and what a program that ends soon can wait for.

#include "Fliprugair/core/Identity.h"
#include "e2e/HostApp.h"

namespace fliprugair::e2e {
namespace {

using controlhost::HostSettings;

/// Answers so late that an end that does not wait is over long before.
ControlHostOptions slowHost(std::atomic<int>& delay) {
  ControlHostOptions options;
  options.settings = [&delay] {
    HostSettings settings;
    settings.init = Value{{"success", 1}, {"flags", Value{{"resend_initial", false}}}};
    settings.delay = std::chrono::milliseconds(delay);
    return settings;
  };
  return options;
}

TEST(Termination, WaitsForABatchThatLeftBecauseItWasFull) {
  std::atomic<int> delay = 0;
  CheckedHost host(slowHost(delay));
  const TemporaryFolder folder;
  {
    HostApp app(optionsIn(folder.path()), optionsFor(host.hostname()));
    ASSERT_TRUE(app.environment().waitUntilSent(std::chrono::seconds(30)).isEmpty());
    delay = 500;
    for (int number = 0; number < 25; ++number) app.tracker().trackEvent(std::to_string(number), "value");
    app.terminate();
    EXPECT_EQ(eventNames(host).size(), 25U);
  }
  delay = 0;
  HostApp app(optionsIn(folder.path()), optionsFor(host.hostname()));
  EXPECT_EQ(app.stored(key::networkQueue), Value(Dictionary()));
}

TEST(Termination, WaitsForAnUpdateAndForTheInstallReport) {
  std::atomic<int> delay = 0;
  CheckedHost host(slowHost(delay));
  const TemporaryFolder folder;
  {
    HostApp app(optionsIn(folder.path()), optionsFor(host.hostname()));
    delay = 500;
    ASSERT_TRUE(eventually([&] { return !app.stored(key::networkQueue).dictionary().empty(); }));
    app.terminate();
    EXPECT_EQ(app.stored(key::networkQueue), Value(Dictionary()));
    EXPECT_EQ(requestsOf(host, "initial").size(), 1U);
  }
  HostApp app(optionsIn(folder.path()), optionsFor(host.hostname()));
  app.tracker().setLimitAdTracking(true);
  app.terminate();
  EXPECT_EQ(app.stored(key::networkQueue), Value(Dictionary()));
  EXPECT_EQ(requestsOf(host, "update").size(), 1U);
}

TEST(Termination, WaitsNoLongerThanABackgroundTaskMayTake) {
  std::atomic<int> delay = 0;
  CheckedHost host(slowHost(delay));
  const TemporaryFolder folder;
  LinuxOptions options = optionsIn(folder.path());
  options.backgroundTaskTime = std::chrono::milliseconds(200);
  HostApp app(options, optionsFor(host.hostname()));
  ASSERT_TRUE(app.environment().waitUntilSent(std::chrono::seconds(30)).isEmpty());
  delay = 10000;
  for (int number = 0; number < 25; ++number) app.tracker().trackEvent(std::to_string(number), "value");
  const auto begin = std::chrono::steady_clock::now();
  app.terminate();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
  EXPECT_EQ(app.stored(key::networkQueue).dictionary().size(), 1U);
  delay = 0;
}

TEST(WaitUntilSent, BringsTheFirstVisitOfAProgramThatEndsSoonToTheHost) {
  for (const MainThread mainThread : {MainThread::own, MainThread::host}) {
    CheckedHost host;
    const TemporaryFolder folder;
    LinuxOptions options = optionsIn(folder.path());
    options.mainThread = mainThread;
    HostApp app(options, optionsFor(host.hostname()));
    app.tracker().trackEvent("only", "value");
    const Waiting waiting = app.environment().waitUntilSent(std::chrono::seconds(30));
    EXPECT_TRUE(waiting.isEmpty()) << waiting.text();
    EXPECT_EQ(requestsOf(host, "initial").size(), 1U);
    EXPECT_EQ(eventNames(host), std::vector<std::string>{"only"});
  }
}

TEST(WaitUntilSent, SaysWhatWaitsWhenTheHostIsDown) {
  const TemporaryFolder folder;
  const auto before = std::chrono::system_clock::now() - std::chrono::seconds(2);
  HostApp app(optionsIn(folder.path()), optionsFor("127.0.0.1:1"));
  app.tracker().trackEvent("only", "value");
  const auto begin = std::chrono::steady_clock::now();
  const Waiting waiting = app.environment().waitUntilSent(std::chrono::milliseconds(300));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(300));
  EXPECT_TRUE(waiting.installReport);
  EXPECT_EQ(waiting.records, 1U);
  EXPECT_EQ(waiting.requests, 0U);
  EXPECT_GT(waiting.bytes, 100U);
  EXPECT_LT(waiting.bytes, 1000U);
  ASSERT_TRUE(waiting.oldest);
  EXPECT_GE(*waiting.oldest, before);
  EXPECT_LE(*waiting.oldest, std::chrono::system_clock::now());
  EXPECT_EQ(waiting.text(), "the install report, 1 record");
  EXPECT_EQ(app.environment().waiting().text(), waiting.text());
}

TEST(WaitUntilSent, CountsTheRequestsThatTheHostHasNotConfirmed) {
  std::atomic<int> delay = 0;
  CheckedHost host(slowHost(delay));
  const TemporaryFolder folder;
  HostApp app(optionsIn(folder.path()), optionsFor(host.hostname()));
  ASSERT_TRUE(app.environment().waitUntilSent(std::chrono::seconds(30)).isEmpty());
  host.stop();
  const auto before = std::chrono::system_clock::now() - std::chrono::seconds(2);
  app.tracker().trackEvent("late", "value");
  const Waiting waiting = app.environment().waitUntilSent(std::chrono::milliseconds(300));
  EXPECT_EQ(waiting.text(), "1 request");
  ASSERT_TRUE(waiting.oldest);
  EXPECT_GE(*waiting.oldest, before);
  EXPECT_LE(*waiting.oldest, std::chrono::system_clock::now());
}

TEST(WaitUntilSent, DoesNotWaitOnThePlatformsOwnThreads) {
  const TemporaryFolder folder;
  HostApp app(optionsIn(folder.path()), optionsFor("127.0.0.1:1"));
  const auto begin = std::chrono::steady_clock::now();
  bool installReport = false;
  EXPECT_TRUE(app.environment().onMain(
      [&] { installReport = app.environment().waitUntilSent(std::chrono::hours(1)).installReport; }));
  EXPECT_TRUE(installReport);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
}

TEST(Erasing, LeavesNothingOfTheStoreAndTheNextStartIsANewInstallation) {
  const TemporaryFolder folder;
  const LinuxOptions options = optionsIn(folder.path());
  std::string first;
  {
    HostApp app(options, optionsFor("127.0.0.1:1"));
    first = app.stored(key::deviceId).text();
    EXPECT_NE(LinuxEnvironment::erase(options).find("is in use by process"), std::string::npos);
    EXPECT_EQ(app.stored(key::deviceId).text(), first);
  }
  EXPECT_EQ(LinuxEnvironment::erase(options), "");
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
  EXPECT_EQ(LinuxEnvironment::erase(options), "");
  HostApp app(options, optionsFor("127.0.0.1:1"));
  EXPECT_NE(app.stored(key::deviceId).text(), first);
}

TEST(Erasing, SaysWhyItCannot) {
  LinuxOptions nameless;
  EXPECT_NE(LinuxEnvironment::erase(nameless).find("The store has no place"), std::string::npos);
}

}  // namespace
}  // namespace fliprugair::e2e
