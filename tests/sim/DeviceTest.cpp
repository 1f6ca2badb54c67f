// The virtual network, the trackers of one process, and what outlives it.

#include "Script.h"

namespace fliprugair::sim {
namespace {

constexpr std::string_view release = R"({"do":"release"})";
constexpr std::string_view restart = R"({"do":"restart"})";

/// A script whose tracker is installed and reported: request 1 was the init, request 2 an update that has ended.
class Device : public testing::Test {
 protected:
  Device() {
    script.store("sendInitial", false);
    script.construct();
    script.reply(1, quietReply());
    script.reply(2, Dictionary());
  }

  void track(int count = 1) {
    for (int number = 0; number < count; ++number) script.call("trackEvent::", {"event", "value"});
  }
  std::vector<Dictionary> notify(const std::string& name) {
    return script.run(R"({"do":"notify","name":")" + name + "\"}");
  }
  std::vector<Dictionary> fail(int request) {
    return script.run(R"({"do":"fail","request":)" + std::to_string(request) + "}");
  }

  Script script;
};

TEST_F(Device, ASendIsListedAsSendingUntilItEnds) {
  track(25);
  const Dictionary sending = script.stored("eventsSending").dictionary();
  EXPECT_EQ(sending, Value({{"721692800.000000", true}}).dictionary());
  EXPECT_EQ(script.stored("networkQueue").dictionary()["721692800.000000"].array().size(), 25U);
  EXPECT_TRUE(script.reply(3, Dictionary()).empty());
  EXPECT_EQ(script.stored("eventsSending"), Value(Dictionary()));
  EXPECT_EQ(script.stored("networkQueue"), Value(Dictionary()));
}

TEST_F(Device, ASendEventShowsTheWholeRequest) {
  const auto events = script.call("enqueueMarluneEvent:", {Value{{"a", 1}}});
  EXPECT_TRUE(named(events, "send").empty());
  track(25);
  script.advance(1);
  const auto resent = named(notify("did-become-active"), "send");
  ASSERT_EQ(resent.size(), 0U);  // its timestamp is that of the batch, which is being sent
  fail(3);
  const auto again = named(notify("did-become-active"), "send");
  ASSERT_EQ(again.size(), 1U);
  EXPECT_EQ(again[0]["request"], Value(4));
  EXPECT_EQ(again[0]["hostname"], Value("control.marlune.example"));
  EXPECT_EQ(again[0]["payload"].array().size(), 25U);
  EXPECT_EQ(again[0]["event_timestamp"], Value("721692800.000000"));
  EXPECT_EQ(again[0]["delegate"], Value(false));
  EXPECT_TRUE(again[0].holds("background_task"));
  EXPECT_TRUE(again[0]["background_task"].isNothing());
  EXPECT_EQ(again[0]["logging"], Value(false));
}

TEST_F(Device, AnInitRequestIsNotListed) {
  Script fresh;
  const auto send = named(fresh.construct(), "send").at(0);
  EXPECT_TRUE(send.holds("event_timestamp"));
  EXPECT_TRUE(send["event_timestamp"].isNothing());
  EXPECT_EQ(send["delegate"], Value(true));
  EXPECT_TRUE(fresh.stored("eventsSending").isNothing());
  EXPECT_TRUE(fresh.stored("networkQueue").isNothing());
}

TEST_F(Device, ARequestThatFailsStaysQueuedAndCallsNobody) {
  Script fresh;
  fresh.construct();
  EXPECT_TRUE(fresh.run(R"({"do":"fail","request":1})").empty());
  EXPECT_EQ(fresh.stored("firstInitReceived"), Value(false));
  track(25);
  EXPECT_TRUE(fail(3).empty());
  EXPECT_EQ(script.stored("eventsSending"), Value(Dictionary()));
  EXPECT_EQ(script.stored("networkQueue").dictionary().size(), 1U);
}

TEST_F(Device, AReplyThatIsNoObjectEndsTheRequestAndCallsNobody) {
  for (const Value& body : {Value(), Value(true), Value(1), Value("text"), Value(Array({Value{{"success", 1}}}))}) {
    Script fresh;
    fresh.construct();
    EXPECT_TRUE(fresh.reply(1, body).empty());
    EXPECT_EQ(fresh.stored("firstInitReceived"), Value(false));
    fresh.reply(1, quietReply());
    EXPECT_EQ(fresh.stored("firstInitReceived"), Value(false)) << "the request had ended";
  }
  track(25);
  script.reply(3, "text");
  EXPECT_EQ(script.stored("networkQueue"), Value(Dictionary()));
}

TEST_F(Device, ASecondAnswerDoesNothing) {
  track(25);
  fail(3);
  EXPECT_TRUE(script.reply(3, Dictionary()).empty());
  EXPECT_EQ(script.stored("networkQueue").dictionary().size(), 1U);
  EXPECT_TRUE(fail(3).empty());
  EXPECT_TRUE(fail(99).empty());
  EXPECT_TRUE(script.reply(0, quietReply()).empty());
  EXPECT_TRUE(script.reply(99, quietReply()).empty());
}

TEST_F(Device, TheEntryHasLeftBeforeTheCallbackRuns) {
  Script fresh;
  fresh.construct();
  fresh.call("enqueueMarluneEvent:", {Value{{"a", 1}}});
  // A system below 7.1 sends its report at once, under the same timestamp as the entry.
  fresh.run(R"({"do":"device","system_version":"7.0"})");
  fresh.reply(1, {{"success", 1}});
  EXPECT_EQ(fresh.stored("networkQueue").dictionary().size(), 1U);
  fresh.store("handleWatchEventsDeferred", {{"watchLink", "watch"}});
  EXPECT_FALSE(fresh.reply(2, Dictionary()).empty());
  EXPECT_EQ(fresh.stored("networkQueue"), Value(Dictionary()));
  EXPECT_EQ(fresh.stored("batchEventQueue").array().size(), 2U);
}

TEST_F(Device, ASendOfNothingIsAnEventLikeTheOthers) {
  const auto send = named(script.call("flushBatchQueue:", {false}), "send");
  ASSERT_EQ(send.size(), 1U);
  EXPECT_TRUE(send[0].holds("payload"));
  EXPECT_TRUE(send[0]["payload"].isNothing());
  EXPECT_EQ(script.stored("networkQueue"), Value(Dictionary()));
  EXPECT_EQ(script.stored("eventsSending").dictionary().size(), 1U);
}

TEST_F(Device, QueuedRequestsAreResentInTheOrderInWhichTheyWereWritten) {
  script.store("networkQueue", {{"9.0", "first"}, {"1.0", "second"}, {"5.0", "third"}});
  script.advance(1);
  script.call("enqueueMarluneEvent:", {Value{{"a", 1}}});
  Array payloads;
  for (const Dictionary& send : named(notify("did-become-active"), "send"))
    payloads = payloads.appending(send["payload"]);
  ASSERT_GE(payloads.size(), 4U);
  EXPECT_EQ(payloads[0], Value("first"));
  EXPECT_EQ(payloads[1], Value("second"));
  EXPECT_EQ(payloads[2], Value("third"));
  EXPECT_EQ(payloads[3], Value({{"a", 1}}));
}

TEST_F(Device, ABackgroundTaskEndsWithItsRequest) {
  for (const bool accepted : {true, false}) {
    const std::int64_t request = accepted ? 3 : 4;
    track();
    const auto events = notify("will-resign-active");
    const auto began = named(events, "background_task_began");
    ASSERT_EQ(began.size(), 1U);
    EXPECT_EQ(began[0]["name"], Value("MarluneBackgroundFlush"));
    const auto send = named(events, "send");
    ASSERT_EQ(send.size(), 1U);
    EXPECT_EQ(send[0]["background_task"], began[0]["task"]);
    const auto ended = accepted ? script.reply(request, Dictionary()) : fail(static_cast<int>(request));
    ASSERT_EQ(ended.size(), 1U);
    EXPECT_EQ(ended[0]["event"], Value("background_task_ended"));
    EXPECT_EQ(ended[0]["task"], began[0]["task"]);
  }
}

TEST_F(Device, AnExpiredTaskHasEndedAndItsRequestLivesOn) {
  track();
  notify("will-resign-active");
  EXPECT_EQ(inShort(script.run(R"({"do":"expire","task":1})")), (Lines{"background_task_ended 1"}));
  EXPECT_TRUE(script.run(R"({"do":"expire","task":1})").empty());
  EXPECT_TRUE(script.run(R"({"do":"expire","task":7})").empty());
  EXPECT_EQ(script.stored("networkQueue").dictionary().size(), 1U);
  EXPECT_TRUE(script.reply(3, Dictionary()).empty());
  EXPECT_EQ(script.stored("networkQueue"), Value(Dictionary()));
}

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
  EXPECT_TRUE(script.result("createDeviceId").isNothing());
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

TEST_F(Device, ASearchAdAnswerNeedsAnObjectThatAsked) {
  EXPECT_TRUE(script.run(R"({"do":"search_ad","details":{"iAdAttribution":"true"}})").empty());
  EXPECT_TRUE(script.stored("initialPayload").isNothing());
}

TEST_F(Device, ASearchAdAnswerMayComeLateAndUnasked) {
  Script fresh;
  fresh.construct();
  EXPECT_EQ(inShort(named(fresh.reply(1, {{"success", 1}}), "search_ad_request")), (Lines{"search_ad_request"}));
  EXPECT_TRUE(fresh.run(R"({"do":"search_ad","details":{"iAdAttribution":"true"},"unknown":false})").empty());
  const Value parked = fresh.stored("initialPayload");
  EXPECT_EQ(parked.dictionary()["data"].dictionary()["iad_attribution"], Value("true"));
  EXPECT_TRUE(fresh.run(R"({"do":"search_ad","details":{"iAdAttribution":"false"}})").empty());
  EXPECT_EQ(fresh.stored("initialPayload"), parked);
}

TEST_F(Device, ASearchAdObjectDoesNotKeepItsTrackerAlive) {
  Script fresh;
  fresh.construct();
  fresh.reply(1, {{"success", 1}});
  fresh.run(release);
  EXPECT_TRUE(fresh.run(R"({"do":"search_ad","details":null})").empty());
  EXPECT_TRUE(fresh.stored("initialPayload").isNothing());
}

TEST_F(Device, AFixNeedsALocationManagerThatSearches) {
  const std::string fix = R"({"do":"location","fix":{"latitude":1.5,"longitude":-2,"accuracy":10}})";
  EXPECT_TRUE(script.run(fix).empty());
  EXPECT_EQ(script.state("locMgr"), Value(false));
  Script fresh;
  fresh.store("sendInitial", false);
  fresh.construct();
  const auto events = fresh.reply(1, {{"success", 1},
                                      {"whitelist", Array({"location"})},
                                      {"flags", Value{{"resend_initial", false}, {"location_accuracy", 100}}}});
  const auto request = named(events, "location_request");
  ASSERT_EQ(request.size(), 1U);
  EXPECT_EQ(request[0]["accuracy"], Value(100));
  EXPECT_EQ(request[0]["timeout"], Value(15));
  EXPECT_EQ(request[0]["logging"], Value(false));
  EXPECT_EQ(fresh.state("locMgr"), Value(true));
  EXPECT_EQ(inShort(fresh.run(fix)), (Lines{"timer_armed batchQueueTimerFired: 60.0"}));
  EXPECT_EQ(fresh.state("locMgr"), Value(false));
  EXPECT_TRUE(fresh.run(fix).empty());
  const Value record = fresh.stored("batchEventQueue").array()[0];
  EXPECT_EQ(record.dictionary()["data"], Value({{"location", Value{{"lat", 1.5}, {"lon", -2}, {"acc", 10}}}}));
}

TEST_F(Device, AFixAfterTheReleaseReachesNobody) {
  Script fresh;
  fresh.store("sendInitial", false);
  fresh.construct();
  fresh.reply(1, {{"success", 1}, {"whitelist", Array({"location"})}, {"flags", Value{{"resend_initial", false}}}});
  fresh.run(release);
  EXPECT_TRUE(fresh.run(R"({"do":"location","fix":{"latitude":1,"longitude":2,"accuracy":3}})").empty());
  EXPECT_TRUE(fresh.stored("batchEventQueue").isNothing());
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
    EXPECT_EQ(script.result("trackerDelegate"), kind == "mute" ? Value("mute") : Value());
    EXPECT_TRUE(script.reply(3, finalAnswer).empty());
    EXPECT_FALSE(script.stored("attribution").isNothing());
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
  EXPECT_TRUE(script.result("trackerDelegate").isNothing());
  script.construct();
  EXPECT_EQ(script.result("trackerDelegate"), Value("mute"));
  script.run(R"({"do":"delegate","kind":"none"})");
  EXPECT_TRUE(script.result("trackerDelegate").isNothing());
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
  EXPECT_TRUE(script.result("createDeviceId").isNothing());
  EXPECT_TRUE(script.result("isOSGenuine").isNothing());
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
  EXPECT_TRUE(script.state("trackerHostname").isNothing());
  EXPECT_TRUE(script.run(R"({"do":"expire","task":1})").empty());
  EXPECT_TRUE(script.reply(3, Dictionary()).empty());
  EXPECT_EQ(script.stored("eventsSending").dictionary().size(), 1U) << "nobody has ended it";
  EXPECT_EQ(script.stored("networkQueue").dictionary().size(), 1U);
  EXPECT_EQ(script.stored("batchEventQueue").array().size(), 1U);
  EXPECT_TRUE(script.advance(1000).empty());
  const auto events = script.construct();
  EXPECT_TRUE(script.stored("eventsSending").isNothing());
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
      EXPECT_TRUE(values.holds(name) && values[name].isNothing()) << name;
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

TEST(Store, SetsThenRemovesThenGets) {
  Script script;
  const auto events = script.run(
      R"({"do":"store","get":["a","b","c","d"],"remove":["b"],"set":{"a":{"z":1,"y":true},"b":2,"c":null,"d":[1.5,"x",false]}})");
  ASSERT_EQ(inShort(events), (Lines{"store"}));
  EXPECT_EQ(events[0]["values"], Value({{"a", Value{{"z", 1}, {"y", true}}}, {"d", Array({1.5, "x", false})}}));
  EXPECT_TRUE(script.run(R"({"do":"store","set":{"a":null}})").empty());
  EXPECT_EQ(script.run(R"({"do":"store","get":"all"})").at(0)["values"], Value({{"d", Array({1.5, "x", false})}}));
  EXPECT_TRUE(script.run(R"({"do":"store"})").empty());
  EXPECT_EQ(script.run(R"({"do":"store","get":[]})").at(0)["values"], Value(Dictionary()));
}

TEST(DeviceFields, AreSetOneByOne) {
  Script script;
  script.run(R"({"do":"device","system_name":"tvOS","system_version":"10.1"})");
  script.run(R"({"do":"device","idfv":null})");
  const Dictionary data = named(script.construct(), "send").at(0)["payload"].dictionary()["data"].dictionary();
  EXPECT_EQ(data["os_version"], Value("tvOS 10.1"));
  EXPECT_EQ(data["idfv"], Value(""));
  EXPECT_EQ(data["idfa"], Value("66666666-7777-4888-9999-AAAAAAAAAAAA"));
  EXPECT_EQ(data["package_name"], Value("com.example.app"));
}

TEST(DeviceFields, ABundleIsReplacedAsAWhole) {
  Script script;
  script.run(R"({"do":"device","bundle":{"CFBundleVersion":"7"}})");
  const Dictionary data = named(script.construct(), "send").at(0)["payload"].dictionary()["data"].dictionary();
  EXPECT_EQ(data["package_name"], Value(""));
}

TEST(DeviceFields, DocumentsAreMerged) {
  Script script;
  // "YnBsaXN0MDA=" and "eA==" are no archives; which they are is not what is asked here
  script.run(R"({"do":"device","documents":{"one":"eA==","two":"eA=="}})");
  EXPECT_TRUE(script.run(R"({"do":"device","documents":{"one":null,"three":"eA=="}})").empty());
  script.construct();
  EXPECT_EQ(script.result("getFullFilename:", {"one"}), Value("/Documents/one"));
}

TEST(DeviceFields, ThatCannotBeUnderstoodChangeNoField) {
  Script script;
  EXPECT_THROW(script.run(R"({"do":"device","system_version":"10.1","orientation":"left"})"), CommandError);
  const Dictionary data = named(script.construct(), "send").at(0)["payload"].dictionary()["data"].dictionary();
  EXPECT_EQ(data["os_version"], Value("iOS 9.3"));
}

TEST(DeviceFields, ReachabilityHasThreeForms) {
  Script script;
  script.construct();
  struct Case {
    std::string_view given;
    bool network;
    bool cellular;
    bool wiFi;
  };
  for (const auto& [given, network, cellular, wiFi] :
       {Case{"2", true, false, true}, Case{"262146", true, true, false}, Case{"4", true, false, true},
        Case{"0", false, false, false}, Case{"262144", true, true, false}, Case{"null", false, false, false},
        Case{"\"unreadable\"", false, false, false}, Case{"4294967295", true, true, false}}) {
    script.run(R"({"do":"device","reachability":)" + std::string(given) + "}");
    EXPECT_EQ(script.result("networkConnectedBool"), Value(network)) << given;
    EXPECT_EQ(script.result("cellularConnectedBool"), Value(cellular)) << given;
    EXPECT_EQ(script.result("wiFiConnectedBool"), Value(wiFi)) << given;
  }
}

TEST(Selectors, ReturnWhatTheyAnswer) {
  Script script;
  script.construct();
  EXPECT_EQ(script.result("isOSGenuine"), Value(true));
  for (int orientation = -1; orientation < 6; ++orientation) {
    EXPECT_EQ(script.result("UIInterfaceOrientationIsLandscape", {orientation}),
              Value(orientation == 3 || orientation == 4));
  }
  EXPECT_EQ(script.result("getMarluneDeviceId").text().size(), 34U);
  EXPECT_TRUE(script.result("iAdAttributionManager").isNothing());
  script.call("setIAdAttributionManager:", {true});
  EXPECT_EQ(script.result("iAdAttributionManager"), Value(true));
  script.call("setIAdAttributionManager:", {Value()});
  EXPECT_TRUE(script.result("iAdAttributionManager").isNothing());
  script.call("setCustomIdString:", {"custom"});
  EXPECT_EQ(script.result("customIdString"), Value("custom"));
  EXPECT_EQ(script.result("isEventSending:", {"1.0"}), Value(false));
  script.store("eventsSending", {{"1.0", false}});
  EXPECT_EQ(script.result("isEventSending:", {"1.0"}), Value(true)) << "any value counts";
  EXPECT_EQ(script.result("swiftRetrieveAttribution"), Value(""));
}

TEST(Arguments, AURLAndStandardParametersAreObjects) {
  Script script;
  script.store("sendInitial", false);
  script.construct();
  script.call("sendDeepLink::", {Value{{"$url", "app://a/b"}}, "source"});
  script.call("swiftSendDeepLink::", {Value{{"$url", "app://c"}}, "source"});
  script.call("trackEventWithEventStandardParameters:",
              {Value{{"$standard", Value{{"name", "level"}, {"data", Value{{"z", "a/b"}, {"a", 1}}}}}}});
  const Array records = script.stored("batchEventQueue").array();
  ASSERT_EQ(records.size(), 3U);
  EXPECT_EQ(records[0].dictionary()["data"].dictionary()["uri"], Value("app://a/b"));
  EXPECT_EQ(records[1].dictionary()["data"].dictionary()["uri"], Value("app://c"));
  EXPECT_EQ(records[2].dictionary()["data"].dictionary()["event_name"], Value("level"));
  EXPECT_EQ(records[2].dictionary()["data"].dictionary()["event_data"], Value(R"({"z":"a/b","a":1})"));
  const auto lines =
      named(script.call("trackEventWithEventStandardParameters:",
                        {Value{{"$standard", Value{{"name", "level"}, {"data", Value()}, {"raises", "the reason"}}}}}),
            "log");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_TRUE(lines[0]["text"].text().ends_with("7d716099-1ff1-4cf5-baa4-5ea7490736be - the reason"));
}

TEST(Comments, AndBlankLinesAreSkipped) {
  std::vector<std::string> lines;
  Simulator simulator([&](const std::string& line) { lines.push_back(line); }, 1);
  for (const std::string_view line : {"", "   ", "\t", "\r", "# a comment", "#{\"do\":\"nothing\"}"})
    simulator.run(line, 1);
  EXPECT_TRUE(lines.empty());
  simulator.run("{\"do\":\"release\"}\r", 7);
  EXPECT_EQ(lines, (Lines{R"({"event":"done","line":7})"}));
}

}  // namespace
}  // namespace fliprugair::sim
