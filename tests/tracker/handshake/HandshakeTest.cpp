// What a control host may answer to the init request as a whole, and to the others.

#include <algorithm>

#include "tracker/InitReplies.h"

namespace fliprugair {
namespace {

TEST(Handshake, WithANeutralReplySendsAndRecordsNothing) {
  Snapshot after = afterReply(reported(), neutral);
  EXPECT_EQ(after.count("event send 2/request"), 0U);
  EXPECT_EQ(after.count(storePath("batchEventQueue")), 0U);
  EXPECT_EQ(after[storePath("firstInitReceived")], "true");
  EXPECT_EQ(after[storePath("lastMLInitSent")], "1700000000");
}

TEST(Handshake, SettingsThatAreNullCountAsAbsent) {
  const Snapshot expected = afterReply(reported(), neutral);
  for (const std::string_view name :
       {"marlune_app_id", "marlune_device_id", "mlinit_wait", "mltracker_wait", "iad_attribution_attempts",
        "iad_attribution_wait", "iad_retry_wait", "send_id_updates", "location_accuracy", "location_timeout",
        "location_staleness", "currency", "session_tracking", "getattribution_wait"}) {
    SCOPED_TRACE(name);
    expectSame(afterReply(reported(), withFlag(name, nullptr)), expected);
  }
  for (const std::string_view name : {"msg", "blacklist", "eventname_blacklist", "whitelist", "outside_services"}) {
    SCOPED_TRACE(name);
    expectSame(afterReply(reported(), with(neutral, name, nullptr)), expected);
  }
}

TEST(Handshake, SettingsThatNobodyKnowsChangeNothing) {
  const Snapshot expected = afterReply(reported(), neutral);
  for (const std::string_view name : {"", "mlinitWait", "trackerHostname", "com.marlune.MarluneTracker.deviceId"}) {
    SCOPED_TRACE(name);
    expectSame(afterReply(reported(), withFlag(name, "x")), expected);
    expectSame(afterReply(reported(), with(neutral, name, "x")), expected);
  }
}

TEST(Handshake, SettingsOfTheFlagsAreNotReadAtTheTopNorTheOtherWayRound) {
  const Snapshot expected = afterReply(reported(), neutral);
  for (const std::string_view name :
       {"mlinit_wait", "currency", "session_tracking", "marlune_app_id", "send_id_updates"}) {
    SCOPED_TRACE(name);
    expectSame(afterReply(reported(), with(neutral, name, "none")), expected);
  }
  for (const std::string_view name : {"blacklist", "eventname_blacklist", "whitelist"}) {
    SCOPED_TRACE(name);
    expectSame(afterReply(reported(), withFlag(name, Array({"idfa", "idfv", "location"}))), expected);
  }
}

TEST(Handshake, AReplyThatIsNoDictionaryReachesNobody) {
  Phone reference;
  const auto kept = reference.construct();
  const Snapshot expected = snapshotOf(reference);
  for (const Value& body : wrongValues([](const Value& value) { return !value.isDictionary(); })) {
    SCOPED_TRACE(traceOf("body", body));
    expectSame(afterReply(Setting(), body), expected);
  }
}

TEST(Handshake, FlagsThatAreNoDictionaryAreEmpty) {
  const Snapshot expected = afterReply(reported(), Value{{"success", 1}});
  for (const Value& flags : wrongValues([](const Value& value) { return !value.isDictionary(); })) {
    SCOPED_TRACE(traceOf("flags", flags));
    expectSame(afterReply(reported(), Value{{"success", 1}, {"flags", flags}}), expected);
  }
}

TEST(Handshake, SuccessChangesNothingWhateverItIs) {
  const Snapshot expected = afterReply(reported(), neutral);
  std::vector<Value> values = wrongValues();
  values.emplace_back();
  for (const Value& success : values) {
    SCOPED_TRACE(traceOf("success", success));
    expectSame(afterReply(reported(), with(neutral, "success", success)), expected);
  }
}

TEST(Handshake, IsSaidToHaveFailedUnlessSuccessReadsAsOne) {
  struct Case {
    Value success;
    bool failed;
  };
  for (const auto& [success, failed] : {
           Case{1, false},      Case{true, false},  Case{1.0, false},       Case{"1", false},
           Case{Value(), true}, Case{0, true},      Case{false, true},      Case{2, true},
           Case{-1, true},      Case{1.5, true},    Case{1e300, true},      Case{INT64_MAX, true},
           Case{"", true},      Case{"01", true},   Case{" 1", true},       Case{"1.0", true},
           Case{"true", true},  Case{"\xFF", true}, Case{Array({1}), true}, Case{Value{{"1", 1}}, true},
       }) {
    SCOPED_TRACE(traceOf("success", success));
    Phone phone;
    const auto tracker = phone.construct({{"marluneAppId", "demo"}, {"enableLogging", true}});
    phone.reply(1, {{"success", success}, {"flags", neutralFlags}});
    const auto lines = phone.events("log");
    EXPECT_EQ(failed, std::ranges::any_of(lines, [](const Dictionary& line) {
                return line["text"].text().find("Marlune library - init command failed: {") != std::string::npos;
              }));
  }
}

TEST(Handshake, OnlyAListCanAskForABackOff) {
  const Snapshot expected = afterReply(Setting(), neutral);
  std::vector<Value> values = wrongValues();
  values.emplace_back("resonance_cascade");
  values.push_back(Value{{"resonance_cascade", "resonance_cascade"}});
  values.emplace_back(Array({Array({"resonance_cascade"}), "Resonance_cascade", "resonance_cascade "}));
  for (const Value& msg : values) {
    SCOPED_TRACE(traceOf("msg", msg));
    expectSame(afterReply(Setting(), with(neutral, "msg", msg)), expected);
  }
}

TEST(Handshake, ABackOffIsFoundAmongAnything) {
  const Snapshot expected = afterReply(Setting(), {{"msg", Array({"resonance_cascade"})}});
  EXPECT_EQ(expected.at("state/rcascadeTimerDelay"), "10");
  EXPECT_EQ(expected.at(storePath("firstInitReceived")), "false");
  const Value msg =
      Array({1, Value(), 1e300, megabyteOf('x'), Array(), Dictionary(), "resonance_cascade", "resonance_cascade"});
  expectSame(afterReply(Setting(), with(neutral, "msg", msg)), expected);
}

TEST(Handshake, ABackOffCountsForNothingOnceTheInstallIsReported) {
  expectSame(afterReply(reported(), with(neutral, "msg", Array({"resonance_cascade"}))),
             afterReply(reported(), neutral));
}

TEST(Handshake, BacksOffFor10And20And30AndThen60Seconds) {
  Phone phone;
  const auto tracker = phone.construct();
  for (const double seconds : {10, 20, 30, 60, 60}) {
    internalsOf(*tracker).MarluneInitResult({{"msg", Array({"resonance_cascade"})}});
    phone.process.runQueues();
    EXPECT_EQ(phone.timers("rcascadeTimerFired:"), std::vector<double>({seconds}));
    phone.forgetEvents();
    phone.process.advance(seconds);
    EXPECT_EQ(phone.requests("init").size(), 1U);
  }
}

TEST(Handshake, ABackOffIsSaidEvenWithoutLogging) {
  Phone phone;
  const auto tracker = phone.construct();
  internalsOf(*tracker).MarluneInitResult({{"msg", Array({"resonance_cascade"})}});
  EXPECT_EQ(phone.logged("Marlune library - resonance_cascade received - will retry in 10 seconds"), 1);
}

TEST(Handshake, ABackOffKeepsTheRequestAndTakesNothingElse) {
  Phone phone;
  const auto tracker = phone.construct();
  const Value request = phone.stored("INIT_PAYLOAD");
  phone.reply(1, {{"msg", Array({"resonance_cascade"})}, {"flags", Value{{"mlinit_wait", 99}}}});
  EXPECT_EQ(phone.stored("INIT_PAYLOAD"), request);
  EXPECT_EQ(phone.stored("mlinitWait"), Value(60));
  EXPECT_EQ(phone.stored("lastMLInitSent"), Value(0));
  EXPECT_EQ(phone.stored("firstInitReceived"), Value(false));
}

TEST(Handshake, ABackOffOfAnEarlierTrackerThatIsKeptGoesOn) {
  Phone phone;
  const auto tracker = phone.construct();
  phone.reply(1, {{"msg", Array({"resonance_cascade"})}});
  const auto later = phone.construct();
  phone.forgetEvents();
  phone.process.advance(10);
  EXPECT_EQ(phone.requests("init").size(), 1U);
}

TEST(Handshake, ABackOffEndsWithItsTracker) {
  Phone phone;
  auto tracker = phone.construct();
  phone.reply(1, {{"msg", Array({"resonance_cascade"})}});
  tracker.reset();
  phone.process.runQueues();
  EXPECT_TRUE(phone.timers("rcascadeTimerFired:").empty());
}

TEST(Handshake, StartsTheCheckWhileTheInstallReportIsDueThoughNobodyWantsTheResult) {
  Phone phone;
  const auto tracker = phone.construct();
  phone.reply(1, neutral);
  EXPECT_EQ(phone.timers("marluneAttributionCheckTimerFired:"), std::vector<double>({1}));
}

TEST(Handshake, StartsNoCheckWhenTheInstallIsReportedAndNobodyWantsTheResult) {
  InstalledPhone phone;
  EXPECT_TRUE(phone.timers("marluneAttributionCheckTimerFired:").empty());
}

TEST(Handshake, ChecksThePropertiesOnceTheInstallIsReported) {
  InstalledPhone phone;
  phone.device.facts.languages = {"de"};
  phone.parts().MarluneInitResult(neutral);
  EXPECT_EQ(phone.requests("update").size(), 1U);
}

TEST(Handshake, ChecksThePositionWithTheSettingsThatItBrings) {
  InstalledPhone phone;
  phone.parts().MarluneInitResult(
      with({{"success", 1}, {"whitelist", Array({"location"})}}, "flags",
           {{"resend_initial", false}, {"location_accuracy", 77}, {"location_timeout", 44}}));
  phone.process.runQueues();
  ASSERT_EQ(phone.events("location_request").size(), 1U);
  EXPECT_EQ(phone.events("location_request")[0]["accuracy"], Value(77));
  EXPECT_EQ(phone.events("location_request")[0]["timeout"], Value(44));
}

/// The other replies: whatever they are, the tracker lives on.
TEST(Handshake, AndTheOtherRepliesDoNoHarmWhateverTheyAre) {
  for (const Value& value : wrongValues()) {
    SCOPED_TRACE(traceOf("reply", value));
    Phone phone;
    phone.sendsOddities();  // positions of the values
    const auto tracker =
        phone.construct({{"marluneAppId", "demo"}, {"retrieveAttribution", true}, {"enableLogging", true}});
    internalsOf(*tracker).MarluneRetrieveAttribution(value);
    internalsOf(*tracker).MarluneInitialResult(value);
    internalsOf(*tracker).iAdAttributionData(value, true);
    internalsOf(*tracker).currentLocationUpdate(value);
    internalsOf(*tracker).MarluneInitResult(value);
    for (const std::string_view member : {"success", "data", "retry", "attribution"}) {
      internalsOf(*tracker).MarluneRetrieveAttribution(with(Dictionary(), member, value));
      internalsOf(*tracker).MarluneRetrieveAttribution({{"success", 1}, {"data", with(Dictionary(), member, value)}});
      internalsOf(*tracker).MarluneRetrieveAttribution(
          {{"success", value}, {"data", Value{{"retry", -1}, {"attribution", value}}}});
    }
    for (const std::string_view member :
         {"attributionDetails", "iAdAttribution", "appPurchaseDate", "iAdImpressionDate"}) {
      internalsOf(*tracker).iAdAttributionData(with(Dictionary(), member, value), false);
    }
    for (const std::string_view member : {"latitude", "longitude", "accuracy"}) {
      internalsOf(*tracker).currentLocationUpdate(with(Dictionary(), member, value));
    }
    phone.process.advance(100);
    EXPECT_NE(tracker->retrieveAttribution().kind(), Value::Kind::text);
    EXPECT_TRUE(phone.stored("networkQueue").isDictionary() || phone.stored("networkQueue").isNull());
  }
}

}  // namespace
}  // namespace fliprugair
