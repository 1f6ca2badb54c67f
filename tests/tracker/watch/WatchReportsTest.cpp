#include "tracker/ObservedEnvironment.h"
#include "tracker/Phone.h"

namespace fliprugair {
namespace {

Dictionary dataOf(const Value& record) { return record.dictionary()["data"].dictionary(); }

/// A phone whose control host has not answered yet.
class NewPhone : public Phone {
 public:
  std::shared_ptr<MarluneTracker> tracker = construct();
};

TEST(WatchReports, ReportALinkAsAnEventAndAnIdentityLink) {
  InstalledPhone phone;
  phone.tracker->handleWatchEvents("link");
  ASSERT_EQ(phone.batch().size(), 2U);
  EXPECT_EQ(dataOf(phone.batch()[0])["event_name"], Value("Watch Install"));
  EXPECT_EQ(dataOf(phone.batch()[0])["event_data"], Value("link"));
  EXPECT_EQ(phone.batch()[1].dictionary()["action"], Value("identityLink"));
  EXPECT_EQ(dataOf(phone.batch()[1]), Value({{"Apple Watch", "link"}}).dictionary());
  EXPECT_EQ(phone.stored("pairedAppleWatches"), Value(Array({"link"})));
}

TEST(WatchReports, SayHowAWatchWithoutALinkWasSeen) {
  for (const auto& [called, pairing] : {std::pair(false, "paired"), std::pair(true, "paired_passively")}) {
    InstalledPhone phone;
    phone.tracker->handleWatchEvents("", called);
    EXPECT_EQ(dataOf(phone.batch()[1]), Value({{"Apple Watch", pairing}}).dictionary());
  }
}

TEST(WatchReports, ReportEachLinkOnce) {
  InstalledPhone phone;
  phone.tracker->handleWatchEvents("a");
  phone.tracker->handleWatchEvents("b");
  phone.tracker->handleWatchEvents("a");
  EXPECT_EQ(phone.batch().size(), 4U);
  EXPECT_EQ(phone.stored("pairedAppleWatches"), Value(Array({"a", "b"})));
}

TEST(WatchReports, LinkAWatchWhoseInstallEventIsForbidden) {
  InstalledPhone phone;
  phone.parts().events.adoptBlacklist(Array({"Watch Install"}));
  phone.tracker->handleWatchEvents("link");
  ASSERT_EQ(phone.batch().size(), 1U);
  EXPECT_EQ(phone.batch()[0].dictionary()["action"], Value("identityLink"));
}

TEST(WatchReports, PutAPairingOffUntilTheControlHostHasAnswered) {
  NewPhone phone;
  phone.tracker->handleWatchEvents("first", true);
  phone.tracker->handleWatchEvents("second");
  EXPECT_EQ(phone.stored("handleWatchEventsDeferred"), Value({{"watchLink", "second"}, {"calledByTrackEvent", false}}));
  EXPECT_TRUE(phone.batch().empty());
  EXPECT_TRUE(phone.stored("pairedAppleWatches").isNull());
}

/// While a pairing is put off the control host's first reply comes on another thread, which leaves `there` in its
/// place.
struct ReplyMeanwhile {
  std::string_view link;
  Value there;
  bool isReported;
};

TEST(WatchReports, ReportAPairingThatNobodyComesBackForAndLeaveAnother) {
  const Value none;
  const std::vector<ReplyMeanwhile> replies{
      {"link", {{"watchLink", "link"}, {"calledByTrackEvent", false}}, true},
      {"link", {{"calledByTrackEvent", 0}, {"watchLink", "link"}}, true},
      {"link", {{"watchLink", "other"}, {"calledByTrackEvent", false}}, false},
      {"link", {{"watchLink", "link"}, {"calledByTrackEvent", true}}, false},
      {"link", none, false},
      {"", none, false},
  };
  for (const ReplyMeanwhile& reply : replies) {
    SCOPED_TRACE(traceOf(reply.link, reply.there));
    NewPhone phone;
    ObservedEnvironment environment(phone.process);
    const auto tracker = MarluneTracker::initMarluneWithParams(environment, {{"marluneAppId", "demo"}});
    int looks = 0;
    environment.store.onGet = [&](std::string_view key) {
      if (!key.ends_with("firstInitReceived") || ++looks != 2) return;
      phone.store("firstInitReceived", true);
      phone.store("handleWatchEventsDeferred", reply.there);
    };
    tracker->handleWatchEvents(Text::of(reply.link));
    EXPECT_EQ(phone.batch().size(), reply.isReported ? 2U : 0U);
    EXPECT_EQ(phone.stored("handleWatchEventsDeferred"), reply.isReported ? none : reply.there);
  }
}

TEST(WatchReports, HaveAPairingThatIsPutOffDurableBeforeTheyLookForAReplyAgain) {
  NewPhone phone;
  ObservedEnvironment environment(phone.process);
  const auto tracker = MarluneTracker::initMarluneWithParams(environment, {{"marluneAppId", "demo"}});
  environment.store.hasGroups = false;
  int looks = 0;
  environment.store.onGet = [&](std::string_view key) {
    if (!key.ends_with("firstInitReceived") || ++looks != 2) return;
    EXPECT_TRUE(environment.store.undurable().empty());
  };
  tracker->handleWatchEvents("link");
  EXPECT_EQ(looks, 2);
}

TEST(WatchReports, HaveAWatchDurableBeforeItIsReported) {
  InstalledPhone phone;
  ObservedEnvironment environment(phone.process);
  const auto tracker = MarluneTracker::initMarluneWithParams(environment, {{"marluneAppId", "demo"}});
  environment.store.hasGroups = false;
  int appended = 0;
  environment.store.onGet = [&](std::string_view key) {
    if (!key.ends_with("batchEventQueue") || ++appended != 1) return;
    for (const std::string& each : environment.store.undurable()) EXPECT_FALSE(each.ends_with("pairedAppleWatches"));
  };
  tracker->handleWatchEvents("link");
  EXPECT_GT(appended, 0);
}

TEST(WatchReports, ReportAnEventThatNobodyComesBackForSinceTheFirstReplyCameMeanwhile) {
  NewPhone phone;
  phone.store("pairedAppleWatches", Array({"link"}));
  ObservedEnvironment environment(phone.process);
  const auto tracker = MarluneTracker::initMarluneWithParams(environment, {{"marluneAppId", "demo"}});
  int looks = 0;
  environment.store.onGet = [&](std::string_view key) {
    if (key.ends_with("firstInitReceived") && ++looks == 2) phone.store("firstInitReceived", true);
  };
  tracker->trackWatchEvent("title", "value");
  ASSERT_EQ(phone.batch().size(), 1U);
  EXPECT_EQ(dataOf(phone.batch()[0])["event_name"], Value("title"));
  EXPECT_TRUE(phone.stored("trackWatchEventDeferred").isNull());
}

TEST(WatchReports, PutEventsOffInTheirOrder) {
  NewPhone phone;
  phone.tracker->trackWatchEvent("a", "1");
  phone.tracker->trackWatchEvent("b", nullptr);
  EXPECT_EQ(phone.stored("trackWatchEventDeferred"),
            Value(Array({Value{{"eventTitle", "a"}, {"eventValue", "1"}}, Value{{"eventTitle", "b"}}})));
  EXPECT_EQ(phone.stored("handleWatchEventsDeferred"), Value({{"watchLink", ""}, {"calledByTrackEvent", true}}));
  EXPECT_TRUE(phone.batch().empty());
}

TEST(WatchReports, LeaveAPairingThatWasPutOffAsItIsForAnEvent) {
  NewPhone phone;
  phone.tracker->handleWatchEvents("link");
  phone.tracker->trackWatchEvent("a", "1");
  EXPECT_EQ(phone.stored("handleWatchEventsDeferred"), Value({{"watchLink", "link"}, {"calledByTrackEvent", false}}));
}

TEST(WatchReports, ReportAPairingBeforeTheFirstEvent) {
  InstalledPhone phone;
  phone.tracker->trackWatchEvent("a", "1");
  phone.tracker->trackWatchEvent("b", "2");
  ASSERT_EQ(phone.batch().size(), 4U);
  EXPECT_EQ(dataOf(phone.batch()[1]), Value({{"Apple Watch", "paired_passively"}}).dictionary());
  EXPECT_EQ(dataOf(phone.batch()[2])["event_name"], Value("a"));
  EXPECT_EQ(dataOf(phone.batch()[3])["event_name"], Value("b"));
}

TEST(WatchReports, ReportNoPairingForAnEventOfAWatchThatIsKnown) {
  InstalledPhone phone;
  phone.store("pairedAppleWatches", Array());
  phone.tracker->trackWatchEvent("a", "1");
  EXPECT_EQ(phone.batch().size(), 1U);
}

TEST(WatchReports, ReplayWhatWasPutOffOnceAndForgetIt) {
  NewPhone phone;
  phone.tracker->trackWatchEvent("a", "1");
  phone.store("firstInitReceived", true);
  WatchReports& watch = internalsOf(*phone.tracker).watch;
  watch.replayDeferred();
  ASSERT_EQ(phone.batch().size(), 3U);
  EXPECT_EQ(dataOf(phone.batch()[1]), Value({{"Apple Watch", "paired_passively"}}).dictionary());
  EXPECT_EQ(dataOf(phone.batch()[2])["event_name"], Value("a"));
  EXPECT_TRUE(phone.stored("handleWatchEventsDeferred").isNull());
  EXPECT_TRUE(phone.stored("trackWatchEventDeferred").isNull());
  watch.replayDeferred();
  EXPECT_EQ(phone.batch().size(), 3U);
}

TEST(WatchReports, ForgetAPairingThatItsReplayPutsOffAgainInItsOwnForm) {
  NewPhone phone;
  phone.store("handleWatchEventsDeferred", {{"calledByTrackEvent", 1}, {"watchLink", "link"}});
  internalsOf(*phone.tracker).watch.replayDeferred();
  EXPECT_TRUE(phone.stored("handleWatchEventsDeferred").isNull());
  EXPECT_TRUE(phone.batch().empty());
}

TEST(WatchReports, PassOverDeferredEventsThatAreDamaged) {
  InstalledPhone phone;
  phone.store("trackWatchEventDeferred", Array({1, "a", Value{{"eventTitle", "b"}}, Value{{"eventTitle", 7}}}));
  phone.parts().watch.replayDeferred();
  ASSERT_EQ(phone.batch().size(), 1U);
  EXPECT_EQ(dataOf(phone.batch()[0])["event_name"], Value("b"));
  EXPECT_TRUE(phone.stored("trackWatchEventDeferred").isNull());
}

TEST(WatchReports, AreReplayedByTheInstallReply) {
  InstalledPhone phone;
  phone.store("trackWatchEventDeferred", Array({Value{{"eventTitle", "a"}}}));
  phone.parts().MarluneInitialResult(Dictionary());
  EXPECT_EQ(phone.batch().size(), 1U);
}

TEST(WatchReports, TakeAStoredListThatIsNoArrayForNone) {
  InstalledPhone phone;
  phone.store("pairedAppleWatches", "link");
  phone.tracker->handleWatchEvents("link");
  EXPECT_EQ(phone.batch().size(), 2U);
  EXPECT_EQ(phone.stored("pairedAppleWatches"), Value(Array({"link"})));
}

}  // namespace
}  // namespace fliprugair
