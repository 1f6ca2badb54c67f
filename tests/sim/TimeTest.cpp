// Virtual time: clock, timers and queues.

#include "Script.h"

namespace fliprugair::sim {
namespace {

/// A script whose tracker is installed and reported; nothing is armed.
class Time : public testing::Test {
 protected:
  Time() {
    script.store("sendInitial", false);
    script.construct();
    script.reply(1, quietReply());
    for (const std::string& timer : script.timers()) ADD_FAILURE() << "armed at first: " << timer;
  }

  std::string localTime() { return script.result("currentLocalTime").text(); }
  Script script;
};

TEST(Clock, StartsInNovember2023AndStandsStill) {
  Script script;
  script.construct();
  EXPECT_EQ(script.result("currentLocalTime"), Value("1700000000"));
  script.call("trackEvent::", {"event", "value"});
  EXPECT_EQ(script.result("currentLocalTime"), Value("1700000000"));
}

TEST_F(Time, PassesInFractionsDuringAdvance) {
  script.advance(0.25);
  script.advance(0.5);
  EXPECT_EQ(localTime(), "1700000000");
  script.advance(0.25);
  EXPECT_EQ(localTime(), "1700000001");
  script.advance(0);
  EXPECT_EQ(localTime(), "1700000001");
  for (int tenth = 0; tenth < 10; ++tenth) script.advance(0.1);
  EXPECT_EQ(localTime(), "1700000002");
}

TEST_F(Time, IsKeptToTheMicrosecondInEventTimestamps) {
  script.advance(0.123456);
  EXPECT_EQ(script.result("enqueueMarluneEvent:", {Dictionary()}), Value("721692800.123456"));
}

TEST_F(Time, ManyYearsMayPass) {
  script.call("trackEvent::", {"event", "value"});
  EXPECT_EQ(named(script.advance(1e9), "timer_fired").size(), 1U);
  EXPECT_EQ(localTime(), "2700000000");
  script.sendsOddities();  // times that no clock shows
  script.advance(1e20);
  script.advance(1e20);
  script.call("trackEvent::", {"event", "value"});
  script.advance(1e20);
}

TEST_F(Time, TheClockIsSetWithoutFiringTimers) {
  script.call("trackEvent::", {"event", "value"});
  EXPECT_TRUE(script.run(R"({"do":"clock","now":1800000000.5})").empty());
  EXPECT_EQ(localTime(), "1800000000");
  EXPECT_EQ(script.timers(), (Lines{"batchQueueTimerFired: in 60.0"}));
}

TEST_F(Time, TimersKeepTheirRemainingTimeWhenTheClockIsSet) {
  script.call("trackEvent::", {"event", "value"});
  script.advance(10);
  script.run(R"({"do":"clock","now":500000000})");
  EXPECT_EQ(script.timers(), (Lines{"batchQueueTimerFired: in 50.0"}));
  EXPECT_TRUE(script.advance(49.75).empty());
  EXPECT_EQ(inShort(script.advance(0.25)), (Lines{"timer_fired batchQueueTimerFired:", "send 3"}));
  EXPECT_EQ(localTime(), "500000050");
}

TEST_F(Time, AnyNumberCanBeTheClock) {
  script.sendsOddities();
  for (const std::string_view now :
       {"0", "-1", "-1e300", "1e300", "0.5", "9223372036854775807", "18446744073709551615"}) {
    script.run(R"({"do":"clock","now":)" + std::string(now) + "}");
    EXPECT_FALSE(localTime().empty()) << now;
    script.call("trackEvent::", {"event", "value"});
    script.advance(60);
  }
}

TEST_F(Time, ClocksPastTheSignedRangeAreSubtractedAsOthersAre) {
  script.run(R"({"do":"clock","now":1e19})");
  script.call("returnAndSetUptimeDelta");
  EXPECT_EQ(script.result("returnAndSetUptimeDelta"), Value("0"));
  script.advance(1e6);
  EXPECT_EQ(script.result("returnAndSetUptimeDelta"), Value("999424"));  // as near as a real comes at that size
}

TEST_F(Time, ResultsAreWrittenBeforeTheQueuesRun) {
  EXPECT_EQ(inShort(script.call("trackEvent::", {"event", "value"})),
            (Lines{"returned trackEvent::", "timer_armed batchQueueTimerFired: 60.0"}));
}

TEST(Queues, RunBetweenTheConstructionAndItsDone) {
  Script script;
  script.construct();
  script.call("checkWatchPropertiesChanged");
  script.reply(1, quietReply());
  EXPECT_EQ(inShort(script.construct({{"marluneAppId", "demo"}, {"retrieveAttribution", true}})).back(),
            "timer_armed marluneAttributionCheckTimerFired: 1.0");
}

TEST_F(Time, TheGlobalQueueRunsWhenTheMainQueueIsEmpty) {
  script.call("trackEvent::", {"event", "value"});
  // The flush is posted to the global queue before the timer's stop is posted to the main queue.
  EXPECT_EQ(inShort(script.run(R"({"do":"notify","name":"will-resign-active"})")),
            (Lines{"background_task_began 1", "timer_stopped batchQueueTimerFired:",
                   "timer_armed batchQueueTimerFired: 60.0", "timer_stopped batchQueueTimerFired:", "send 3"}));
}

TEST_F(Time, ATimerFiresWhenItIsDueAndNoSooner) {
  script.call("trackEvent::", {"event", "value"});
  EXPECT_TRUE(script.advance(59.999).empty());
  EXPECT_EQ(inShort(script.advance(0.001)), (Lines{"timer_fired batchQueueTimerFired:", "send 3"}));
  EXPECT_TRUE(script.advance(1000).empty());
}

TEST_F(Time, TheClockStandsAtTheDueTimeWhileATimerFires) {
  script.call("trackEvent::", {"event", "value"});
  const auto events = script.advance(1000);
  EXPECT_EQ(named(events, "send").at(0)["event_timestamp"], Value("721692860.000000"));
  EXPECT_EQ(localTime(), "1700001000");
}

/// Asks for attribution: request `request` is pending afterwards.
void askForAttribution(Script& script) {
  script.construct();
  script.call("checkWatchPropertiesChanged");
  script.reply(1, {{"success", 1}, {"flags", Value{{"resend_initial", false}}}});
  script.store("sendInitial", false);
  script.store("attributionWait", 1);
  script.construct({{"marluneAppId", "demo"}, {"retrieveAttribution", true}});
  script.advance(2);
}

TEST(Timers, OfTheSameDueTimeFireInTheOrderOfArming) {
  const Value retryIn60{{"success", 1}, {"data", Value{{"retry", 60}}}};
  for (const bool eventFirst : {true, false}) {
    Script script;
    askForAttribution(script);
    if (eventFirst) script.call("trackEvent::", {"event", "value"});
    const auto armed = script.reply(3, retryIn60);
    ASSERT_EQ(inShort(armed), (Lines{"timer_armed marluneAttributionTimerFired: 60.0"}));
    if (!eventFirst) script.call("trackEvent::", {"event", "value"});
    const std::string batch = "timer_fired batchQueueTimerFired:";
    const std::string attribution = "timer_fired marluneAttributionTimerFired:";
    EXPECT_EQ(inShort(named(script.advance(60), "timer_fired")),
              eventFirst ? (Lines{batch, attribution}) : (Lines{attribution, batch}));
  }
}

TEST(Timers, FireInTheOrderOfTheirDueTimes) {
  Script script;
  askForAttribution(script);
  script.call("trackEvent::", {"event", "value"});
  script.advance(5);
  script.reply(3, {{"success", 1}, {"data", Value{{"retry", 54}}}});
  EXPECT_EQ(script.timers(), (Lines{"marluneAttributionTimerFired: in 54.0", "batchQueueTimerFired: in 55.0"}));
  EXPECT_EQ(inShort(named(script.advance(60), "timer_fired")),
            (Lines{"timer_fired marluneAttributionTimerFired:", "timer_fired batchQueueTimerFired:"}));
}

TEST(Timers, ThatComeDueWithinAnAdvanceFireInIt) {
  Script script;
  script.construct();
  script.reply(1, {{"success", 1}});  // the check is armed anew each second while the report waits
  const auto fired = inShort(named(script.advance(3.5), "timer_fired"));
  EXPECT_EQ(fired, Lines(3, "timer_fired marluneAttributionCheckTimerFired:"));
  EXPECT_EQ(script.timers(), (Lines{"marluneAttributionCheckTimerFired: in 0.5"}));
}

TEST_F(Time, ATimerOfZeroSecondsWaitsForTheNextAdvance) {
  script.store("mltrackerWait", 0);
  EXPECT_EQ(inShort(script.call("trackEvent::", {"event", "value"})),
            (Lines{"returned trackEvent::", "timer_armed batchQueueTimerFired: 0.0"}));
  EXPECT_EQ(script.timers(), (Lines{"batchQueueTimerFired: in 0.0"}));
  EXPECT_EQ(inShort(script.advance(0)), (Lines{"timer_fired batchQueueTimerFired:", "send 3"}));
  EXPECT_EQ(localTime(), "1700000000");
}

TEST(Timers, OfZeroSecondsThatAreArmedDuringAnAdvanceFireInIt) {
  Script script;
  script.construct();
  script.call("checkWatchPropertiesChanged");
  script.reply(1, quietReply());
  script.store("sendInitial", false);
  script.store("attributionWait", 0);
  script.construct({{"marluneAppId", "demo"}, {"retrieveAttribution", true}});
  EXPECT_EQ(inShort(script.advance(1)),
            (Lines{"timer_fired marluneAttributionCheckTimerFired:", "timer_armed marluneAttributionTimerFired: 0.0",
                   "timer_fired marluneAttributionTimerFired:", "send 3"}));
}

TEST_F(Time, ANegativeIntervalCountsAsZeroAndIsShownAsGiven) {
  script.store("mltrackerWait", -5);
  EXPECT_EQ(inShort(script.call("trackEvent::", {"event", "value"})),
            (Lines{"returned trackEvent::", "timer_armed batchQueueTimerFired: -5.0"}));
  EXPECT_EQ(script.timers(), (Lines{"batchQueueTimerFired: in 0.0"}));
  EXPECT_EQ(inShort(script.advance(0)), (Lines{"timer_fired batchQueueTimerFired:", "send 3"}));
}

TEST_F(Time, AnArmedTimerThatIsInvalidatedSaysSoOnce) {
  script.call("trackEvent::", {"event", "value"});
  EXPECT_EQ(inShort(script.run(R"({"do":"notify","name":"will-terminate"})")),
            (Lines{"timer_stopped batchQueueTimerFired:"}));
  EXPECT_TRUE(script.run(R"({"do":"notify","name":"will-terminate"})").empty());
  EXPECT_TRUE(script.advance(100).empty());
}

TEST_F(Time, TheStateListsTimersInDueOrder) {
  script.call("trackEvent::", {"event", "value"});
  script.advance(0.5);
  EXPECT_EQ(script.timers(), (Lines{"batchQueueTimerFired: in 59.5"}));
}

}  // namespace
}  // namespace fliprugair::sim
