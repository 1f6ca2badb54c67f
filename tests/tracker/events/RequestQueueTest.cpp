#include "Fliprugair/events/RequestQueue.h"
#include "tracker/ObservedEnvironment.h"
#include "tracker/Phone.h"

namespace fliprugair {
namespace {

const Value request{{"action", "update"},         {"marlune_app_id", "demo"},
                    {"marlune_device_id", "MI1"}, {"sdk_version", "ios-20160921"},
                    {"sdk_protocol", "4"},        {"data", Value{{"language", "de"}}}};

TEST(RequestQueue, KeysARequestByTheSecondsSince2001) {
  InstalledPhone phone;
  phone.device.setNow(1700000000.25);
  EXPECT_EQ(phone.parts().requests.enqueueMarluneEvent(request), "721692800.250000");
  EXPECT_EQ(phone.stored("networkQueue"), Value({{"721692800.250000", request}}));
}

TEST(RequestQueue, SharesTheEntryOfTwoRequestsInOneMicrosecond) {
  InstalledPhone phone;
  phone.parts().requests.enqueueMarluneEvent("earlier");
  phone.parts().requests.enqueueMarluneEvent("later");
  EXPECT_EQ(phone.stored("networkQueue"), Value({{"721692800.000000", "later"}}));
}

TEST(RequestQueue, EntersNoNullButBecomesAQueue) {
  InstalledPhone phone;
  phone.store("networkQueue", "text");
  EXPECT_EQ(phone.parts().requests.enqueueMarluneEvent(nullptr), "721692800.000000");
  EXPECT_EQ(phone.stored("networkQueue"), Value(Dictionary()));
}

TEST(RequestQueue, SendsWhatItHasEnteredUnderItsTimestampForAReply) {
  InstalledPhone phone;
  phone.parts().requests.enqueueAndSend(request);
  const auto sends = phone.events("send");
  ASSERT_EQ(sends.size(), 1U);
  EXPECT_EQ(sends[0]["payload"], request);
  EXPECT_EQ(sends[0]["event_timestamp"], Value("721692800.000000"));
  EXPECT_EQ(sends[0]["delegate"], Value(true));
  EXPECT_EQ(sends[0]["hostname"], Value("control.marlune.example"));
  EXPECT_EQ(sends[0]["logging"], Value(false));
  EXPECT_TRUE(sends[0]["background_task"].isNull());
}

TEST(RequestQueue, SendsWhatIsInNoQueueWithoutATimestamp) {
  InstalledPhone phone;
  phone.parts().requests.sendUnqueued(request);
  const auto sends = phone.events("send");
  ASSERT_EQ(sends.size(), 1U);
  EXPECT_TRUE(sends[0]["event_timestamp"].isNull());
  EXPECT_EQ(sends[0]["delegate"], Value(true));
  EXPECT_TRUE(phone.stored("networkQueue").dictionary().empty());
}

TEST(RequestQueue, HandsItsCollaboratorTheSwitchForLogging) {
  InstalledPhone phone;
  phone.tracker->enableConsoleLogging(true);
  phone.parts().requests.sendUnqueued(request);
  EXPECT_EQ(phone.events("send").at(0)["logging"], Value(true));
}

TEST(RequestQueue, KnowsWhatIsBeingSentByAnyValueButNull) {
  InstalledPhone phone;
  phone.store("eventsSending", Value{{"a", true}, {"b", false}, {"c", Value()}});
  EXPECT_TRUE(phone.parts().requests.isEventSending("a"));
  EXPECT_TRUE(phone.parts().requests.isEventSending("b"));
  EXPECT_FALSE(phone.parts().requests.isEventSending("c"));
  EXPECT_FALSE(phone.parts().requests.isEventSending("d"));
}

TEST(RequestQueue, OffersAgainInOrderWhatIsNotBeingSentAndWantsNoReply) {
  InstalledPhone phone;
  phone.sendsOddities();  // what was stored
  phone.store("networkQueue", Value{{"2", request}, {"1", "second"}, {"3", Array({"third"})}});
  phone.store("eventsSending", Value{{"1", true}});
  phone.parts().requests.resendQueuedRequests();
  const auto sends = phone.events("send");
  ASSERT_EQ(sends.size(), 2U);
  EXPECT_EQ(sends[0]["event_timestamp"], Value("2"));
  EXPECT_EQ(sends[0]["payload"], request);
  EXPECT_EQ(sends[1]["event_timestamp"], Value("3"));
  for (const Dictionary& send : sends) EXPECT_EQ(send["delegate"], Value(false));
}

TEST(RequestQueue, OffersNothingAgainBeforeTheFirstInitReply) {
  InstalledPhone phone;
  phone.store("networkQueue", Value{{"1", request}});
  phone.store("firstInitReceived", false);
  EXPECT_FALSE(phone.parts().requests.firstInitReceived());
  phone.parts().requests.resendQueuedRequests();
  EXPECT_TRUE(phone.events("send").empty());
  phone.parts().requests.noteInitReply();
  phone.parts().requests.resendQueuedRequests();
  EXPECT_EQ(phone.events("send").size(), 1U);
}

TEST(RequestQueue, DoesNotOfferAgainWhatIsStillOnItsWay) {
  InstalledPhone phone;
  ObservedEnvironment environment(phone.process);
  const auto tracker = MarluneTracker::initMarluneWithParams(environment, {{"marluneAppId", "demo"}});
  RequestQueue& requests = internalsOf(*tracker).requests;
  bool isFirst = true;
  environment.onMake = [&] {
    if (std::exchange(isFirst, false)) requests.resendQueuedRequests();
  };
  requests.enqueueAndSend(request);
  EXPECT_EQ(phone.events("send").size(), 1U);
}

TEST(RequestQueue, OffersTheOthersAgainWhenOneCannotBeSent) {
  InstalledPhone phone;
  ObservedEnvironment environment(phone.process);
  const auto tracker = MarluneTracker::initMarluneWithParams(environment, {{"marluneAppId", "demo"}});
  phone.store("networkQueue", Value{{"1", request}, {"2", request}});
  bool isFirst = true;
  environment.onMake = [&] {
    if (std::exchange(isFirst, false)) throw std::runtime_error("the host's own");
  };
  internalsOf(*tracker).requests.resendQueuedRequests();
  const auto sends = phone.events("send");
  ASSERT_EQ(sends.size(), 1U);
  EXPECT_EQ(sends[0]["event_timestamp"], Value("2"));
}

TEST(RequestQueue, ForgetsAtAStartWhatAnEarlierProcessWasSending) {
  InstalledPhone phone;
  phone.store("eventsSending", Value{{"1", true}});
  phone.store("networkQueue", Value{{"1", request}});
  const auto later = phone.construct();
  EXPECT_TRUE(phone.stored("eventsSending").isNull());
  EXPECT_EQ(phone.stored("networkQueue"), Value({{"1", request}}));
}

TEST(RequestQueue, ForgetsNothingAtAStartThatFails) {
  InstalledPhone phone;
  phone.store("eventsSending", Value{{"1", true}});
  EXPECT_EQ(phone.construct(Dictionary()), nullptr);
  EXPECT_EQ(phone.stored("eventsSending"), Value({{"1", true}}));
}

TEST(RequestQueue, RemembersTheFirstInitReplyThroughAStart) {
  Phone fresh;
  const auto first = fresh.construct();
  EXPECT_EQ(fresh.stored("firstInitReceived"), Value(false));
  InstalledPhone phone;
  const auto later = phone.construct();
  EXPECT_EQ(phone.stored("firstInitReceived"), Value(true));
}

}  // namespace
}  // namespace fliprugair
