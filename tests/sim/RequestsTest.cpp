// The virtual network and its background tasks.

#include "InstalledDevice.h"

namespace fliprugair::sim {
namespace {

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
  EXPECT_TRUE(again[0]["background_task"].isNull());
  EXPECT_EQ(again[0]["logging"], Value(false));
}

TEST_F(Device, AnInitRequestIsNotListed) {
  Script fresh;
  const auto send = named(fresh.construct(), "send").at(0);
  EXPECT_TRUE(send.holds("event_timestamp"));
  EXPECT_TRUE(send["event_timestamp"].isNull());
  EXPECT_EQ(send["delegate"], Value(true));
  EXPECT_TRUE(fresh.stored("eventsSending").isNull());
  EXPECT_TRUE(fresh.stored("networkQueue").isNull());
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

TEST_F(Device, AnswersToRequestsAndTasksThatNeverWereDoNothing) {
  for (const std::string number : {"-1", "0", "99", "1e30"}) {
    EXPECT_TRUE(script.run(R"({"do":"reply","request":)" + number + R"(,"body":{}})").empty());
    EXPECT_TRUE(script.run(R"({"do":"fail","request":)" + number + "}").empty());
    EXPECT_TRUE(script.run(R"({"do":"expire","task":)" + number + "}").empty());
  }
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
  EXPECT_TRUE(send[0]["payload"].isNull());
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

}  // namespace
}  // namespace fliprugair::sim
