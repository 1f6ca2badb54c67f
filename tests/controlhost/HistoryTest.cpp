#include <gtest/gtest.h>

#include "platform/json/RapidJSONSerialization.h"
#include "tools/controlhost/History.h"

namespace fliprugair::controlhost {

namespace {

constexpr double now = 1700000000;
const Value once{{"flags", Value{{"resend_initial", false}}}};

Value event(const char* name, const char* time = "1700000000", const char* device = "MI1") {
  return Value{{"action", "event"},
               {"marlune_device_id", device},
               {"marlune_app_id", "demo"},
               {"data", Value{{"event_name", name}, {"usertime", time}}}};
}

Value install(const char* device, const char* idfa, const char* uptime = "1") {
  return Value{{"action", "initial"},
               {"marlune_device_id", device},
               {"marlune_app_id", "demo"},
               {"data", Value{{"idfa", idfa}, {"usertime", "1700000000"}, {"uptime", uptime}}}};
}

class HistoryTest : public testing::Test {
 protected:
  ReceivedRequest answered(const Value& body, int status, const Value& reply) {
    ReceivedRequest request;
    request.id = ++count_;
    request.received = now;
    request.status = status;
    request.reply = RapidJSONSerialization().textOfAny(reply);
    describe(request, body);
    return request;
  }

  /// The findings about what comes next, a line each.
  std::string after(const Value& body, int status = 200, const Value& reply = once,
                    std::chrono::milliseconds delay = {}) {
    ReceivedRequest request = answered(body, status, reply);
    request.delay = delay;
    std::string lines;
    for (const Finding& finding : history_.findings(request, body)) {
      lines += (lines.empty() ? "" : "\n") + std::string(nameOf(finding.severity)) + ": " + finding.text;
    }
    return lines;
  }

  History history_;
  std::int64_t count_ = 0;
};

TEST_F(HistoryTest, WhatIsSentOnceIsInOrder) {
  EXPECT_EQ(after(Array{event("one"), event("two")}), "");
  EXPECT_EQ(after(Array{event("three")}), "");
  EXPECT_EQ(after(install("MI1", "A1")), "");
}

TEST_F(HistoryTest, AConfirmedRequestIsNotSentAgain) {
  after(Array{event("one")});
  EXPECT_EQ(after(Array{event("one")}),
            "warning: The same as request 1, which was confirmed. A confirmed request is not sent again.");
}

TEST_F(HistoryTest, ARequestThatWasNotConfirmedIsSentAgain) {
  after(Array{event("one")}, 503);
  EXPECT_EQ(
      after(Array{event("one")}, 200),
      "note: The same as request 1, which was not confirmed. A tracker sends it again until it is: this is right.");
  EXPECT_EQ(after(Array{event("one")}),
            "warning: The same as request 2, which was confirmed. A confirmed request is not sent again.");
}

TEST_F(HistoryTest, AConfirmationThatCameLateMayHaveBeenMissed) {
  after(Array{event("one")}, 200, once, std::chrono::seconds(40));
  EXPECT_EQ(
      after(Array{event("one")}),
      "note: The same as request 1, which was confirmed. The confirmation came late; the tracker may have given up "
      "waiting.");
}

TEST_F(HistoryTest, ARecordIsInOneBatch) {
  after(Array{event("one"), event("two")});
  EXPECT_EQ(after(Array{event("three"), event("two")}),
            "warning: The same as record 1.1. Either it was reported twice within one second, or one call became two "
            "records, or it was sent once more in another request: by hand, or from a store that was copied.");
}

TEST_F(HistoryTest, QuestionsAreTheSameEachTime) {
  const Value init{{"action", "init"}, {"marlune_device_id", "MI1"}};
  const Value poll{{"action", "get_attribution"}, {"marlune_device_id", "MI1"}};
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(after(init), "");
    EXPECT_EQ(after(poll), "");
  }
}

Value init(const char* device, const char* first) {
  return Value{{"action", "init"},
               {"marlune_device_id", device},
               {"marlune_app_id", "demo"},
               {"data", Value{{"idfa", "A1"}}},
               {"data_orig", Value{{"marlune_device_id", first}}}};
}

const Value again{{"flags", Value{{"resend_initial", true}}}};
const Value replacing{{"flags", Value{{"marlune_device_id", "MI2"}, {"resend_initial", false}}}};
constexpr std::string_view twice =
    "warning: This device's installation was reported before, in request 2. A tracker reports it once, unless the "
    "reply to \"init\" that it was given asks for it again.";

TEST_F(HistoryTest, AnInstallationIsReportedOnce) {
  after(init("MI1", "MI1"));
  EXPECT_EQ(after(install("MI1", "A1", "1")), "");
  EXPECT_EQ(after(install("MI1", "A1", "2")), twice);
}

TEST_F(HistoryTest, AnInstallationIsReportedAgainOnceForEachReplyThatAsks) {
  after(init("MI1", "MI1"));
  after(install("MI1", "A1", "1"));
  after(init("MI1", "MI1"), 200, again);
  EXPECT_EQ(after(install("MI1", "A1", "2")), "");
  EXPECT_EQ(after(install("MI1", "A1", "3")), twice);
  after(init("MI1", "MI1"), 200, Value{{"success", 1}});
  after(init("MI1", "MI1"), 200, once);
  EXPECT_EQ(after(install("MI1", "A1", "4")), "") << "what was asked for is not taken back";
}

TEST_F(HistoryTest, WhatAnotherDeviceWasAskedForDoesNotCount) {
  after(init("MI1", "MI1"));
  after(install("MI1", "A1", "1"));
  after(Value{{"action", "init"}, {"marlune_device_id", "MI3"}}, 200, again);
  EXPECT_EQ(after(install("MI1", "A1", "2")), twice);
}

TEST_F(HistoryTest, AReplyThatDidNotReachTheDeviceAsksForNothing) {
  after(init("MI1", "MI1"));
  after(install("MI1", "A1", "1"));
  after(init("MI1", "MI1"), 503, again);
  after(init("MI1", "MI1"), 200, "no object");
  EXPECT_EQ(after(install("MI1", "A1", "2")), twice);
}

TEST_F(HistoryTest, AReplyThatIsGivenWhileNothingIsKeptCountsToo) {
  after(init("MI1", "MI1"));
  after(install("MI1", "A1", "1"));
  history_.noteInitReply(answered(init("MI1", "MI1"), 200, again));
  EXPECT_EQ(after(install("MI1", "A1", "2")), "");
}

TEST_F(HistoryTest, AnInstallationThatWasConfirmedAtItsSecondAttemptIsReported) {
  after(install("MI1", "A1", "1"), 503);
  after(install("MI1", "A1", "1"));
  EXPECT_EQ(after(install("MI1", "A1", "2")), twice);
}

TEST_F(HistoryTest, AnInstallationIsOfTheDeviceWhateverItsIdentifierIsByNow) {
  after(init("MI1", "MI1"));
  after(install("MI1", "A1", "1"));
  after(init("MI1", "MI1"), 200, replacing);
  EXPECT_EQ(after(install("MI2", "A1", "2")), twice);
}

TEST_F(HistoryTest, ADeviceKeepsItsIdentifier) {
  after(install("MI1", "A1"));
  EXPECT_EQ(after(install("MI2", "A1")),
            "warning: The device is MI2, and was MI1 with the same idfa. A device keeps its identifier unless the init "
            "reply replaces it; was the store lost?");
  EXPECT_EQ(
      after(Array{event("one", "1700000000", "MI3"), event("two", "1700000000", "MI4")}),
      "warning: The device is MI4, and was MI3 in the records before. A device keeps its identifier unless the init "
      "reply replaces it; was the store lost?");
}

TEST_F(HistoryTest, AnIdentifierOfZerosTellsNoDevicesApart) {
  after(install("MI1", "00000000-0000-0000-0000-000000000000"));
  EXPECT_EQ(after(install("MI2", "00000000-0000-0000-0000-000000000000")), "");
  EXPECT_EQ(after(install("MI3", "")), "");
}

TEST_F(HistoryTest, AnIdentifierThatAReplyReplacedIsNoChangeAlsoWhenThatIsTakenBack) {
  EXPECT_EQ(after(init("MI1", "MI1"), 200, replacing), "");
  EXPECT_EQ(after(install("MI2", "A1")), "");
  EXPECT_EQ(after(init("MI2", "MI1")), "");
  EXPECT_EQ(after(Array{event("one"), event("two", "1700000000", "MI2")}), "") << "the batch began before the reply";
  history_.clear();
  EXPECT_EQ(after(init("MI2", "MI1")), "");
  EXPECT_EQ(after(install("MI2", "A1", "2")), "");
}

TEST_F(HistoryTest, AnIdentifierIsReplacedByAReplyThatCameAlone) {
  after(init("MI1", "MI1"), 503, replacing);
  EXPECT_NE(after(install("MI2", "A1")), "");
}

TEST_F(HistoryTest, AnotherIdentifierThanTheOneGivenIsAChange) {
  after(init("MI1", "MI1"), 200, replacing);
  after(install("MI2", "A1"));
  EXPECT_EQ(after(install("MI3", "A1", "2")),
            "warning: The device is MI3, and was MI2 with the same idfa. A device keeps its identifier unless the init "
            "reply replaces it; was the store lost?");
}

TEST_F(HistoryTest, AnIdentifierThatAnotherHostReplacedIsNotedOnce) {
  EXPECT_EQ(after(init("MI2", "MI1")),
            "note: The device is MI2, and was MI1 at its first start. A host has replaced it; this one does not "
            "remember that.");
  EXPECT_EQ(after(init("MI2", "MI1")), "");
}

TEST_F(HistoryTest, AClockThatIsAheadIsFound) {
  EXPECT_EQ(
      after(Array{event("one", "1700000061")}),
      "warning: /data/usertime is 61 s ahead of this host's clock. Set the clock of the device, or of this machine.");
  EXPECT_EQ(after(Array{event("two", "1700000060")}), "");
}

TEST_F(HistoryTest, AnUptimeOfMoreThanAYearIsFound) {
  const auto active = [](const char* name, const char* uptime) {
    return Value{{"action", "event"},
                 {"marlune_device_id", "MI1"},
                 {"marlune_app_id", "demo"},
                 {"data", Value{{"event_name", name}, {"usertime", "1700000000"}, {"uptime", uptime}}}};
  };
  EXPECT_EQ(after(Array{active("one", "31622400"), active("two", "-31622400")}), "");
  EXPECT_EQ(after(Array{active("three", "120000000")}),
            "warning: /data/uptime is 1388 days after the application became active. Send seconds, not milliseconds; "
            "or was the device's clock set meanwhile?");
  EXPECT_EQ(after(Array{active("four", "-31622401")}),
            "warning: /data/uptime is 366 days before the application became active. Send seconds, not milliseconds; "
            "or was the device's clock set meanwhile?");
  EXPECT_NE(after(Array{active("five", "-99999999999999999999999")}), "");
}

Value eventOf(const char* app, const char* name) {
  return Value{{"action", "event"},
               {"marlune_device_id", "MI1"},
               {"marlune_app_id", app},
               {"data", Value{{"event_name", name}, {"usertime", "1700000000"}}}};
}

TEST_F(HistoryTest, ABatchIsOfOneApplication) {
  EXPECT_EQ(after(Array{eventOf("demo", "one"), eventOf("other", "two"), eventOf("demo", "three")}),
            "warning: The application is \"other\", and was \"demo\" in the records before. One store reports for one "
            "application, unless the init reply gives it another identifier; do two applications share a store?");
}

TEST_F(HistoryTest, AnApplicationIdentifierThatAReplyGaveIsNoChange) {
  after(init("MI1", "MI1"), 200, Value{{"flags", Value{{"marlune_app_id", "other"}}}});
  EXPECT_EQ(after(Array{eventOf("demo", "one"), eventOf("other", "two")}), "");
}

TEST_F(HistoryTest, WhatHasNoTimeIsNotedWhenItComesAgainAfterItsConfirmation) {
  const Value update{{"action", "update"},
                     {"marlune_device_id", "MI1"},
                     {"marlune_app_id", "demo"},
                     {"data", Value{{"language", "de"}}}};
  EXPECT_EQ(after(update, 503), "");
  EXPECT_EQ(
      after(update),
      "note: The same as request 1, which was not confirmed. A tracker sends it again until it is: this is right.");
  EXPECT_EQ(after(update),
            "note: The same as request 2, which was confirmed. Without a usertime it cannot be told whether it was "
            "reported or sent again.");
}

TEST_F(HistoryTest, ARecordThatIsOldIsNoted) {
  EXPECT_EQ(
      after(Array{event("one", "1699568000")}),
      "note: /data/usertime is 5 days before its arrival. The device was without a connection for so long, or its "
      "clock is slow.");
  EXPECT_EQ(after(Array{event("two", "1699950000")}), "");
}

TEST_F(HistoryTest, AForgottenDeviceBeginsAnew) {
  after(install("MI1", "A1", "1"));
  after(Array{event("one")});
  history_.forget("MI1");
  EXPECT_EQ(after(install("MI1", "A1", "2")), "");
  EXPECT_EQ(after(Array{event("one")}), "");
}

TEST_F(HistoryTest, WhatOneDeviceSentIsKnownWhenAnotherIsForgotten) {
  after(Array{event("one")});
  history_.forget("MI2");
  EXPECT_NE(after(Array{event("one")}), "");
}

}  // namespace

}  // namespace fliprugair::controlhost
