// The trackers of one process, and what outlives it.

#include "InstalledDevice.h"

namespace fliprugair::sim {
namespace {

TEST_F(Device, AConstructionReleasesTheTrackerBefore) {
  track();
  const auto events = inShort(script.construct());
  ASSERT_FALSE(events.empty());
  EXPECT_EQ(events.front(), "timer_stopped batchQueueTimerFired:");
  EXPECT_EQ(events.back(), "constructed true");
}

TEST_F(Device, ConstructorsThatAreCalledDoNotKeep) {
  track();
  const auto events = inShort(script.call("initWithMarluneAppId:", {"demo"}));
  ASSERT_FALSE(events.empty());
  EXPECT_EQ(events.front(), "timer_stopped batchQueueTimerFired:");
  EXPECT_EQ(events.back(), "constructed true");
}

TEST_F(Device, ConstructorsReportAsConstructDoes) {
  EXPECT_EQ(inShort(script.call("initWithMarluneAppId:", {Value()})), (Lines{"constructed false"}));
  EXPECT_EQ(inShort(script.call("swiftInitMarluneWithParams:", {"text"})), (Lines{"constructed false"}));
  EXPECT_EQ(inShort(script.call("swiftInitMarluneWithParams:", {Value{{"marluneAppId", "demo"}}})).back(),
            "constructed true");
  EXPECT_EQ(inShort(script.call("initWithMarluneAppId:::::", {"demo", "eur", true, true, true})).back(),
            "constructed true");
  EXPECT_EQ(script.state("_isNewUser"), Value(true));
}

TEST_F(Device, AFailedConstructionLeavesNoTracker) {
  EXPECT_EQ(inShort(script.construct(nullptr)), (Lines{"constructed false"}));
  EXPECT_TRUE(script.result("createDeviceId").isNull());
  EXPECT_TRUE(notify("did-become-active").empty());
  EXPECT_TRUE(script.run(release).empty());
}

TEST_F(Device, AFailedStartRunsNoTeardown) {
  track();
  EXPECT_EQ(inShort(script.construct(nullptr, true)), (Lines{"constructed false"}));
  EXPECT_EQ(script.timers(), (Lines{"batchQueueTimerFired: in 60.0"}));
  EXPECT_EQ(inShort(script.advance(60)), (Lines{"timer_fired batchQueueTimerFired:", "send 3"}));
}

TEST_F(Device, AKeptTrackerLivesOnBesideTheNewOne) {
  script.construct({{"marluneAppId", "demo"}}, true);
  notify("did-become-active");  // each records its session
  EXPECT_EQ(script.stored("batchEventQueue").array().size(), 2U);
  script.run(release);
  notify("did-become-active");
  EXPECT_EQ(script.stored("batchEventQueue").array().size(), 3U);
  script.run(restart);
  EXPECT_TRUE(notify("did-become-active").empty());
}

TEST_F(Device, NotificationsReachTrackersInTheOrderOfConstructionBeforeAnyQueueRuns) {
  script.store("currency", "usd");
  script.call("enableConsoleLogging:", {true});
  script.construct({{"marluneAppId", "demo"}, {"enableLogging", true}}, true);
  const auto events = inShort(notify("did-become-active"));
  ASSERT_GE(events.size(), 3U);
  // Both record their session before the first timer is armed.
  EXPECT_EQ(Lines(events.begin(), events.begin() + 3), (Lines{"log", "log", "timer_armed batchQueueTimerFired: 60.0"}));
}

TEST_F(Device, AReleasedTrackerGetsNoReply) {
  Script fresh;
  fresh.construct();
  fresh.run(release);
  EXPECT_TRUE(fresh.reply(1, quietReply()).empty());
  EXPECT_EQ(fresh.stored("firstInitReceived"), Value(false));
}

TEST_F(Device, TeardownStopsWhatIsStillReferred) {
  track();
  EXPECT_EQ(inShort(script.run(release)), (Lines{"timer_stopped batchQueueTimerFired:"}));
  EXPECT_TRUE(script.run(release).empty());
  EXPECT_TRUE(script.advance(100).empty());
  EXPECT_TRUE(notify("did-become-active").empty());
}

const Value finalAnswer{{"success", 1},
                        {"data", Value{{"retry", -1}, {"attribution", Value{{"z", "a/b"}, {"a", "\xC3\xA9"}}}}}};

/// A tracker whose question for attribution is pending as `request`.
void ask(Script& script) {
  script.construct({{"marluneAppId", "demo"}, {"retrieveAttribution", true}});
  script.store("sendInitial", false);
  script.reply(1, quietReply());
  script.reply(2, Dictionary());
  script.advance(8);
}

TEST(Delegate, ThatListensReceivesTheResult) {
  Script script;
  script.run(R"({"do":"delegate","kind":"listening"})");
  ask(script);
  EXPECT_EQ(script.result("trackerDelegate"), Value("listening"));
  const auto events = script.reply(3, finalAnswer);
  ASSERT_EQ(inShort(events), (Lines{"attribution"}));
  EXPECT_EQ(events[0]["result"], Value({{"z", "a/b"}, {"a", "\xC3\xA9"}}));
  EXPECT_EQ(script.result("retrieveAttribution"), events[0]["result"]);
  EXPECT_EQ(script.result("swiftRetrieveAttribution"), Value("{\"z\":\"a/b\",\"a\":\"\xC3\xA9\"}"));
}

TEST(Delegate, ThatIsMuteOrMissingReceivesNothing) {
  for (const std::string kind : {"mute", "none"}) {
    Script script;
    ask(script);
    script.run(R"({"do":"delegate","kind":")" + kind + "\"}");
    EXPECT_EQ(script.result("trackerDelegate"), kind == "none" ? Value() : Value(kind));
    EXPECT_TRUE(script.reply(3, finalAnswer).empty());
    EXPECT_FALSE(script.stored("attribution").isNull());
  }
}

TEST(Delegate, IsSetOnEveryTrackerAndOutlivesRestart) {
  Script script;
  script.run(R"({"do":"delegate","kind":"listening"})");
  script.construct();
  EXPECT_EQ(script.result("trackerDelegate"), Value("listening"));
  script.run(R"({"do":"delegate","kind":"mute"})");
  EXPECT_EQ(script.result("trackerDelegate"), Value("mute"));
  script.run(restart);
  EXPECT_TRUE(script.result("trackerDelegate").isNull());
  script.construct();
  EXPECT_EQ(script.result("trackerDelegate"), Value("mute"));
  script.run(R"({"do":"delegate","kind":"none"})");
  EXPECT_TRUE(script.result("trackerDelegate").isNull());
}

TEST(Delegate, StaysWithATrackerThatIsKept) {
  Script script;
  script.run(R"({"do":"delegate","kind":"listening"})");
  ask(script);
  script.construct({{"marluneAppId", "demo"}}, true);
  script.run(R"({"do":"delegate","kind":"none"})");
  EXPECT_EQ(inShort(named(script.reply(3, finalAnswer), "attribution")), (Lines{"attribution"}));
}

TEST(ReleasedTracker, WhoseTimerTeardownDoesNotKnowFiresItInVain) {
  Script script;
  ask(script);  // the first tracker's question is request 3
  script.construct({{"marluneAppId", "demo"}, {"retrieveAttribution", true}}, true);
  EXPECT_EQ(inShort(script.advance(1)),
            (Lines{"timer_fired marluneAttributionCheckTimerFired:", "timer_armed marluneAttributionTimerFired: 7.0"}));
  // The first tracker's next question takes the place of the second one's, which stays armed.
  EXPECT_EQ(inShort(script.reply(3, {{"success", 1}, {"data", Value{{"retry", 30}}}})),
            (Lines{"timer_armed marluneAttributionTimerFired: 30.0"}));
  EXPECT_EQ(inShort(script.run(release)), (Lines{"timer_stopped marluneAttributionTimerFired:"}));
  EXPECT_EQ(inShort(script.advance(7)), (Lines{"timer_fired marluneAttributionTimerFired:"}));
  EXPECT_TRUE(script.advance(100).empty());
}

TEST(NoTracker, CallsDoNothingButAreStillChecked) {
  Script script;
  EXPECT_EQ(inShort(script.call("trackEvent::", {"event", "value"})), (Lines{"returned trackEvent::"}));
  EXPECT_TRUE(script.result("createDeviceId").isNull());
  EXPECT_TRUE(script.result("isOSGenuine").isNull());
  EXPECT_THROW(script.call("unknown:", {}), CommandError);
  EXPECT_THROW(script.call("trackEvent::", {"event"}), CommandError);
  EXPECT_THROW(script.call("trackEvent::", {"event", 5}), CommandError);
}

TEST_F(Device, ARestartIsNoTeardownAndLeavesOnlyWhatOutlivesAProcess) {
  track();
  script.call("flushBatchQueue:", {true});
  track();
  script.run(R"({"do":"device","idfa":null})");
  script.run(R"({"do":"clock","now":1800000000})");
  EXPECT_TRUE(script.run(restart).empty());
  EXPECT_TRUE(script.timers().empty());
  EXPECT_TRUE(script.state("trackerHostname").isNull());
  EXPECT_TRUE(script.run(R"({"do":"expire","task":1})").empty());
  EXPECT_TRUE(script.reply(3, Dictionary()).empty());
  EXPECT_EQ(script.stored("eventsSending").dictionary().size(), 1U) << "nobody has ended it";
  EXPECT_EQ(script.stored("networkQueue").dictionary().size(), 1U);
  EXPECT_EQ(script.stored("batchEventQueue").array().size(), 1U);
  EXPECT_TRUE(script.advance(1000).empty());
  const auto events = script.construct();
  EXPECT_TRUE(script.stored("eventsSending").isNull());
  const auto send = named(events, "send");
  ASSERT_EQ(send.size(), 1U);
  EXPECT_EQ(send[0]["request"], Value(4));
  EXPECT_EQ(send[0]["payload"].dictionary()["data"].dictionary()["idfa"], Value(""));
  EXPECT_EQ(script.result("currentLocalTime"), Value("1800001000"));
  EXPECT_EQ(inShort(named(notify("will-resign-active"), "background_task_began")), (Lines{"background_task_began 2"}));
}

TEST(State, IsEmptyBeforeTheFirstConstructionOfAProcess) {
  Script script;
  const auto expectEmpty = [&] {
    const Dictionary values = script.run(R"({"do":"state"})").at(0)["values"].dictionary();
    for (const std::string_view name :
         {"trackerHostname", "sdkVersion", "disabledDeviceTypes", "blacklistedEventNames"}) {
      EXPECT_TRUE(values.holds(name) && values[name].isNull()) << name;
    }
    for (const std::string_view name : {"_loggingEnabled", "_isNewUser", "skipBecameActive", "triggerRetryiAdRetrieval",
                                        "iAdDelegateProcessed", "reportLocation", "locMgr"}) {
      EXPECT_EQ(values[name], Value(false)) << name;
    }
    for (const std::string_view name : {"iAdAttributionAttempts", "rcascadeTimerDelay", "location_accuracy",
                                        "location_timeout", "location_staleness"}) {
      EXPECT_EQ(values[name], Value(0)) << name;
    }
    EXPECT_EQ(values["timers"], Value(Array()));
    EXPECT_EQ(values.size(), 17U);
  };
  expectEmpty();
  script.construct();
  EXPECT_EQ(script.state("sdkVersion"), Value("ios-20160921"));
  EXPECT_EQ(script.state("disabledDeviceTypes"), Value(Array()));
  script.run(restart);
  expectEmpty();
}

}  // namespace
}  // namespace fliprugair::sim
