// The answers of the search-ad service and of the location manager.

#include "InstalledDevice.h"

namespace fliprugair::sim {
namespace {

TEST_F(Device, ASearchAdAnswerNeedsAnObjectThatAsked) {
  EXPECT_TRUE(script.run(R"({"do":"search_ad","details":{"iAdAttribution":"true"}})").empty());
  EXPECT_TRUE(script.stored("initialPayload").isNull());
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

TEST_F(Device, ASearchAdObjectOfTheHostAppIsNotTheOneThatIsAnswered) {
  Script fresh;
  fresh.construct();
  fresh.reply(1, {{"success", 1}});
  fresh.call("setIAdAttributionManager:", {true});
  EXPECT_EQ(fresh.result("iAdAttributionManager"), Value(true));
  fresh.run(R"({"do":"search_ad","details":{"iAdAttribution":"true"}})");
  EXPECT_EQ(fresh.note(), "");
  EXPECT_FALSE(fresh.stored("initialPayload").isNull()) << "the tracker's own object was answered";
}

TEST_F(Device, ASearchAdObjectDoesNotKeepItsTrackerAlive) {
  Script fresh;
  fresh.construct();
  fresh.reply(1, {{"success", 1}});
  fresh.run(release);
  EXPECT_TRUE(fresh.run(R"({"do":"search_ad","details":null})").empty());
  EXPECT_TRUE(fresh.stored("initialPayload").isNull());
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
  EXPECT_TRUE(fresh.stored("batchEventQueue").isNull());
}

}  // namespace
}  // namespace fliprugair::sim
