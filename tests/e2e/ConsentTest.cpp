// A user who agrees, takes it back, and agrees once more.

#include "Fliprugair/core/Identity.h"
#include "curl/TestServer.h"
#include "e2e/HostApp.h"

namespace fliprugair::e2e {
namespace {

using controlhost::HostSettings;

/// Of a system whose installation is reported as soon as the host has answered.
LinuxOptions optionsOf(const TemporaryFolder& folder) {
  LinuxOptions options = optionsIn(folder.path());
  options.facts.systemVersion = "6";
  return options;
}

/// A visit that can end with the user's consent.
struct Visit {
  Visit(const LinuxOptions& options, const std::string& hostname)
      : environment(LinuxEnvironment::open(options).environment) {
    tracker =
        MarluneTracker::initMarluneWithParams(*environment, {{"marluneAppId", "demo"}, {"trackerHostname", hostname}});
    environment->applicationDidFinishLaunching();
    environment->applicationDidBecomeActive();
  }
  std::string stopForGood() {
    tracker = nullptr;
    return LinuxEnvironment::stopForGood(std::move(environment));
  }
  std::string deviceId() const { return environment->userDefaults().objectForKey(key::deviceId).text(); }

  std::unique_ptr<LinuxEnvironment> environment;
  std::shared_ptr<MarluneTracker> tracker;
};

TEST(StoppingForGood, SendsNothingOfWhatWaitsAndLeavesNothing) {
  for (const MainThread mainThread : {MainThread::own, MainThread::host}) {
    CheckedHost host;
    const TemporaryFolder folder;
    LinuxOptions options = optionsOf(folder);
    options.mainThread = mainThread;
    Visit visit(options, host.hostname());
    ASSERT_TRUE(visit.environment->waitUntilSent(std::chrono::seconds(30)).isEmpty());
    const std::size_t before = host.requests().size();
    visit.tracker->trackEvent("late", "value");
    EXPECT_EQ(visit.stopForGood(), "");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
    EXPECT_EQ(host.requests().size(), before);
  }
}

TEST(StoppingForGood, DoesNotWaitForWhatIsBeingSent) {
  std::atomic<int> delay = 0;
  ControlHostOptions hostOptions;
  hostOptions.settings = [&delay] {
    HostSettings settings;
    settings.init = Value{{"success", 1}, {"flags", Value{{"resend_initial", false}}}};
    settings.delay = std::chrono::milliseconds(delay);
    return settings;
  };
  CheckedHost host(hostOptions);
  const TemporaryFolder folder;
  LinuxOptions options = optionsOf(folder);
  options.backgroundTaskTime = std::chrono::minutes(10);
  Visit visit(options, host.hostname());
  ASSERT_TRUE(visit.environment->waitUntilSent(std::chrono::seconds(30)).isEmpty());
  delay = 1000;
  for (int number = 0; number < 25; ++number) visit.tracker->trackEvent(std::to_string(number), "value");
  EXPECT_EQ(visit.environment->waiting().requests, 1U);
  EXPECT_EQ(visit.stopForGood(), "");
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

/// The lines of a visit to a host that takes the connection and never answers, with logging off.
std::vector<std::string> linesOfUnansweredVisit(const std::function<void(Visit&)>& end) {
  const test::SilentPort host;
  const TemporaryFolder folder;
  std::mutex mutex;
  std::vector<std::string> lines;
  LinuxOptions options = optionsOf(folder);
  options.backgroundTaskTime = std::chrono::milliseconds(0);
  options.log = [&](std::string_view line) {
    const std::lock_guard lock(mutex);
    lines.emplace_back(line);
  };
  Visit visit(options, host.hostname());
  end(visit);
  return lines;
}

TEST(StoppingForGood, DoesNotBlameTheHostForTheFirstRequestThatItCutsOff) {
  const std::vector<std::string> lines = linesOfUnansweredVisit([](Visit& visit) { visit.stopForGood(); });
  EXPECT_TRUE(lines.empty()) << lines[0];
}

TEST(TerminatingInstead, SaysThatTheFirstRequestWasNotDelivered) {
  const std::vector<std::string> lines = linesOfUnansweredVisit([](Visit& visit) { visit.environment->terminate(); });
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_NE(lines[0].find("the first request to http://127.0.0.1:"), std::string::npos) << lines[0];
}

TEST(StoppingForGood, MakesTheNextConsentThatOfANewInstallation) {
  CheckedHost host({}, {"device-changed"});
  const TemporaryFolder folder;
  const LinuxOptions options = optionsOf(folder);
  Visit first(options, host.hostname());
  const std::string device = first.deviceId();
  ASSERT_TRUE(first.environment->waitUntilSent(std::chrono::seconds(30)).isEmpty());
  EXPECT_EQ(first.stopForGood(), "");
  Visit second(options, host.hostname());
  EXPECT_NE(second.deviceId(), device);
  ASSERT_TRUE(second.environment->waitUntilSent(std::chrono::seconds(30)).isEmpty());
  EXPECT_EQ(requestsOf(host, "initial").size(), 2U);
  EXPECT_EQ(second.stopForGood(), "");
}

TEST(StoppingForGood, LeavesAStoreOfTheHostAppsOwnToIt) {
  EXPECT_EQ(LinuxEnvironment::stopForGood(nullptr), "");
  const TemporaryFolder folder;
  LinuxOptions options = optionsOf(folder);
  const auto lender = LinuxEnvironment::open(options).environment;
  options.userDefaults = std::shared_ptr<UserDefaults>(std::shared_ptr<void>(), &lender->userDefaults());
  std::unique_ptr<LinuxEnvironment> borrower = LinuxEnvironment::open(options).environment;
  EXPECT_EQ(LinuxEnvironment::stopForGood(std::move(borrower)),
            "The store is the host app's own: it is not erased here.");
}

}  // namespace
}  // namespace fliprugair::e2e
