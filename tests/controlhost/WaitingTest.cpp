#include <gtest/gtest.h>

#include "tools/controlhost/Waiting.h"

namespace fliprugair::controlhost {

namespace {

class WaitingTest : public testing::Test {
 protected:
  void came(const std::string& body) {
    ReceivedRequest request;
    request.bytes = body;
    log_.add(std::move(request));
  }
  void cameEvent(const std::string& name, const std::string& device = "MI1") {
    came(R"({"action":"event","marlune_device_id":")" + device + R"(","data":{"event_name":")" + name + "\"}}");
  }
  Waited waited(const std::string& match, std::int64_t count = 1) {
    return waitForRecords(log_, match, count, std::chrono::milliseconds(0), 0);
  }
  std::string nearest(const std::string& match) { return waited(match).nearest.dictionary()["id"].text(); }

  RequestLog log_{100};
};

TEST_F(WaitingTest, NearestIsWhatMeetsTheMostTerms) {
  cameEvent("level", "MI1");
  cameEvent("other", "MI2");
  EXPECT_EQ(nearest("action:event event:level device:MI1 status:7"), "1.0");
}

TEST_F(WaitingTest, NearestIsWhatHasAnotherValueRatherThanNone) {
  cameEvent("levl");
  came(R"({"action":"session","data":{"state":"pause"}})");
  came(R"({"action":"init"})");
  EXPECT_EQ(nearest("event:level"), "1.0");
}

TEST_F(WaitingTest, OfThoseThatAreAlikeTheNewestIsNearest) {
  cameEvent("one");
  cameEvent("two");
  EXPECT_EQ(nearest("event:level"), "2.0");
}

TEST_F(WaitingTest, SaysInWordsWhatTheNearestDoesNotMeet) {
  cameEvent("levl");
  const Waited result = waited("action:event event:level Purchase");
  EXPECT_FALSE(result.matched);
  EXPECT_EQ(result.text,
            "0 of 1 came within 0 ms; nearest: record 1.0, event \"levl\"; does not hold: event:level (its event is "
            "\"levl\"), Purchase (it holds no such text).");
  EXPECT_EQ(result.missed, (std::vector<std::string>{"event:level", "Purchase"}));
}

TEST_F(WaitingTest, EndsWhenNobodyWantsToKnowAnyMore) {
  const auto isAbandoned = [asked = 0]() mutable { return ++asked > 1; };
  const Waited waited = waitForRecords(log_, "event:level", 1, std::chrono::hours(1), 0, isAbandoned);
  EXPECT_FALSE(waited.matched);
}

TEST_F(WaitingTest, SaysWhenNothingElseCame) {
  EXPECT_EQ(waited("event:level").text, "0 of 1 came within 0 ms; no record came at all.");
  cameEvent("level");
  EXPECT_EQ(waited("event:level", 2).text, "1 of 2 came within 0 ms; nothing else came.");
  EXPECT_TRUE(waited("event:level").matched);
}

}  // namespace

}  // namespace fliprugair::controlhost
