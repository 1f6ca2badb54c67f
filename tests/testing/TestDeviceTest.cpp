// What the tests of a host app see of a tracker on a device in memory.

#include "Fliprugair/testing.h"
#include "testing/CheckedRequests.h"

namespace fliprugair {
namespace {

using std::chrono::seconds;

std::shared_ptr<MarluneTracker> startOn(TestDevice& device) {
  return MarluneTracker::initMarluneWithParams(device.environment(),
                                               {{"marluneAppId", "demo"}, {"trackerHostname", "host.example"}});
}

std::vector<std::string> namesOf(const std::vector<SentRequest>& requests) {
  std::vector<std::string> names;
  for (const SentRequest& request : requests) names.push_back(request.name);
  return names;
}

using Names = std::vector<std::string>;

class TestDeviceTest : public testing::Test {
 protected:
  TestDevice device;
  CheckedRequests checked{device};
  std::shared_ptr<MarluneTracker> tracker = startOn(device);
};

TEST_F(TestDeviceTest, SeesAnEventAsPlainValuesAtOnce) {
  tracker->trackEvent("level", "7");
  const RecordedEvents events = device.events();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events.front().title, "level");
  EXPECT_EQ(events.front().value, "7");
  EXPECT_EQ(events.front().receipt, std::nullopt);
  EXPECT_FALSE(events.front().place);
  EXPECT_FALSE(events.front().standard);
}

TEST_F(TestDeviceTest, FindsEventsByTitleInTheirOrder) {
  for (const char* value : {"1", "2", "3"}) {
    tracker->trackEvent("Purchase", value);
    tracker->trackEvent("level", value);
  }
  const RecordedEvents purchases = device.events().with("Purchase");
  ASSERT_EQ(purchases.size(), 3u);
  EXPECT_EQ(purchases[0].value, "1");
  EXPECT_EQ(purchases[2].value, "3");
  EXPECT_TRUE(device.events().with("purchase").empty());
}

TEST_F(TestDeviceTest, SeesReceiptsPlacesAndWhatIsStandard) {
  tracker->trackEvent("Purchase", "9.99", "cmVjZWlwdA==");
  tracker->spatialEvent("Landing", 1.5F, -2, 0.25F);
  tracker->trackEventWithEventTitleString("Registration", nullptr, true);
  const RecordedEvents events = device.events();
  ASSERT_EQ(events.size(), 3u);
  EXPECT_EQ(events[0].receipt, "cmVjZWlwdA==");
  ASSERT_TRUE(events[1].place);
  EXPECT_EQ(events[1].place->x, 1.5);
  EXPECT_EQ(events[1].place->y, -2);
  EXPECT_EQ(events[1].place->z, 0.25);
  EXPECT_EQ(events[1].value, std::nullopt);
  EXPECT_TRUE(events[2].standard);
  EXPECT_EQ(events[2].value, std::nullopt);
}

TEST_F(TestDeviceTest, SeesIdentitiesAndDeepLinks) {
  tracker->identityLinkEvent({{"user", "4711"}});
  tracker->sendDeepLink(URL("shop://sale"), "com.example.mail");
  ASSERT_EQ(device.identityLinks().size(), 1u);
  EXPECT_EQ(device.identityLinks().front().dictionary()["user"], Value("4711"));
  ASSERT_EQ(device.deepLinks().size(), 1u);
  EXPECT_EQ(device.deepLinks().front().url, "shop://sale");
  EXPECT_EQ(device.deepLinks().front().sourceApplication, "com.example.mail");
  EXPECT_TRUE(device.events().empty());
}

TEST_F(TestDeviceTest, CountsAnEventOnceWhetherItIsSentAgainOrNot) {
  for (int level = 0; level < 50; ++level) {
    tracker->trackEvent("level", "7");
    device.advance(std::chrono::milliseconds(1));
  }
  device.failAll();
  device.applicationDidBecomeActive();
  EXPECT_EQ(namesOf(device.requests()), (Names{"batch", "batch", "batch", "batch"}));
  EXPECT_EQ(device.events().size(), 50u);
}

TEST_F(TestDeviceTest, LetsNothingHappenUntilTimeIsMoved) {
  tracker->trackEvent("level", "7");
  device.advance(seconds(59));
  EXPECT_TRUE(device.requests().empty());
  device.advance(std::chrono::milliseconds(1000));
  const std::vector<SentRequest> batches = device.requests("batch");
  ASSERT_EQ(batches.size(), 1u);
  EXPECT_EQ(batches.front().host, "host.example");
  EXPECT_EQ(batches.front().events.with("level").size(), 1u);
  EXPECT_EQ(batches.front().payload.array().size(), 1u);
}

TEST_F(TestDeviceTest, HasAWallClockThatIsSetWithoutAnyTimerFiring) {
  EXPECT_EQ(std::chrono::system_clock::to_time_t(device.now()), 1700000000);
  tracker->trackEvent("level", "7");
  const auto later = device.now() + std::chrono::hours(24);
  device.setNow(later);
  EXPECT_EQ(device.now(), later);
  EXPECT_TRUE(device.requests().empty());
  device.advance(seconds(60));
  EXPECT_EQ(device.now(), later + seconds(60));
  EXPECT_EQ(namesOf(device.requests()), Names{"batch"});
}

TEST_F(TestDeviceTest, KeepsARequestPendingUntilItIsAnsweredByName) {
  tracker->trackEvent("level", "7");
  device.applicationWillResignActive();
  EXPECT_EQ(namesOf(device.pending()), Names{"batch"});
  EXPECT_FALSE(device.reply("init"));
  EXPECT_TRUE(device.reply("batch"));
  EXPECT_TRUE(device.pending().empty());
  EXPECT_FALSE(device.fail("batch"));
  EXPECT_EQ(namesOf(device.requests()), Names{"batch"});
}

TEST_F(TestDeviceTest, OffersAgainWhatFailedAtTheNextActivation) {
  tracker->trackEvent("level", "7");
  device.applicationWillResignActive();
  EXPECT_TRUE(device.fail("batch"));
  device.applicationDidBecomeActive();
  EXPECT_EQ(namesOf(device.requests()), (Names{"batch", "batch"}));
  EXPECT_EQ(device.requests()[1].events.with("level").size(), 1u);
}

TEST_F(TestDeviceTest, KeepsWhatIsStoredWhenTheProcessIsKilled) {
  tracker->trackEvent("level", "7");
  device.restart();
  tracker->trackEvent("level", "8");
  device.advance(seconds(600));
  EXPECT_TRUE(device.requests().empty()) << "the dead process sent something";
  const auto next = startOn(device);
  device.applicationDidBecomeActive();
  device.advance(seconds(60));
  const std::vector<SentRequest> batches = device.requests("batch");
  ASSERT_EQ(batches.size(), 1u);
  EXPECT_EQ(batches.front().events.front().value, "7");
}

TEST_F(TestDeviceTest, ShowsTheTrackersDiagnosticLines) {
  tracker->enableConsoleLogging(true);
  tracker->trackEvent(nullptr, "7");
  ASSERT_FALSE(device.log().empty());
  EXPECT_NE(device.log().back().find("nil sent as eventTitle"), std::string::npos) << device.log().back();
}

TEST(TestDeviceInstallation, IsReportedAsAControlHostWithoutWishesLetsItBe) {
  TestDevice device(TestDevice::Life::installation);
  const CheckedRequests checked(device);
  const auto tracker = startOn(device);
  tracker->trackEvent("level", "7");
  EXPECT_EQ(namesOf(device.requests()), Names{"init"});
  EXPECT_TRUE(device.reply("init"));
  device.advance(seconds(1));
  EXPECT_EQ(namesOf(device.pending()), Names{"initial"});
  EXPECT_TRUE(device.reply("initial"));
  device.advance(seconds(60));
  device.replyToAll();
  EXPECT_EQ(namesOf(device.requests()), (Names{"init", "initial", "batch"}));
}

TEST(TestDeviceInstallation, DeliversTheAttributionThatTheHostRepliesWith) {
  struct Delegate : MarluneTrackerClientDelegate {
    void Marlune_attributionResult(const Value& attribution) override { result = attribution; }
    Value result;
  };
  TestDevice device(TestDevice::Life::installation);
  const CheckedRequests checked(device);
  const auto delegate = std::make_shared<Delegate>();
  const auto tracker = MarluneTracker::initMarluneWithParams(device.environment(),
                                                             {{"marluneAppId", "demo"}, {"retrieveAttribution", true}});
  tracker->setTrackerDelegate(delegate);
  device.reply("init");
  device.advance(seconds(1));
  device.reply("initial");
  device.advance(seconds(60));
  ASSERT_TRUE(device.reply("get_attribution", TestDevice::attribution(Value{{"network", "Example Ads"}})));
  EXPECT_EQ(delegate->result.dictionary()["network"], Value("Example Ads"));
}

TEST(TestDevices, ShareNothing) {
  TestDevice first;
  TestDevice second;
  const CheckedRequests checked(first);
  const auto tracker = startOn(first);
  tracker->trackEvent("level", "7");
  EXPECT_EQ(first.events().size(), 1u);
  EXPECT_TRUE(second.events().empty());
}

TEST(TestDevices, SeeEventsOfManyThreads) {
  TestDevice device;
  const CheckedRequests checked(device, {"batch-size"});  // several threads may append before one flushes
  const auto tracker = startOn(device);
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&] {
      for (int count = 0; count < 20; ++count) tracker->trackEvent("level", "7");
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(device.events().with("level").size(), 80u);
}

TEST(RecordedEvent, IsShownInFull) {
  std::ostringstream out;
  RecordedEvent event{"Purchase", "9.99", "cmVj", {}, true};
  out << event;
  EXPECT_EQ(out.str(), R"("Purchase" = "9.99", receipt "cmVj", standard)");
  out.str("");
  out << RecordedEvent{"Landing", {}, {}, RecordedEvent::Place{1.5, 2, 3}};
  EXPECT_EQ(out.str(), R"("Landing" at 1.5, 2, 3)");
}

}  // namespace
}  // namespace fliprugair
