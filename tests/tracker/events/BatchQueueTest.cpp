#include <chrono>
#include <thread>

#include "Fliprugair/events/BatchQueue.h"
#include "tracker/ObservedEnvironment.h"
#include "tracker/Phone.h"

namespace fliprugair {
namespace {

using Seconds = std::vector<double>;
constexpr std::string_view timer = "batchQueueTimerFired:";

class WaitingPhone : public InstalledPhone {
 public:
  void track(int records = 1) {
    for (int number = 0; number < records; ++number) tracker->trackEvent("event", "value");
    process.runQueues();
  }
  void activate() {
    process.post(ApplicationNotification::didBecomeActive);
    process.runQueues();
  }
};

TEST(BatchQueue, WaitsAsLongAsTheControlHostSaid) {
  WaitingPhone phone;
  phone.store("mltrackerWait", 90);
  phone.track();
  EXPECT_EQ(phone.timers(timer), Seconds({90}));
  EXPECT_EQ(phone.stored("lastMLTrackerQueued"), Value(1700000000));
}

TEST(BatchQueue, WaitsAnewWithEachRecord) {
  WaitingPhone phone;
  phone.track();
  phone.process.advance(59);
  phone.track();
  EXPECT_EQ(phone.timers(timer), Seconds({60}));
  phone.process.advance(59);
  EXPECT_TRUE(phone.events("send").empty());
  phone.process.advance(1);
  EXPECT_EQ(phone.events("send").size(), 1U);
  EXPECT_TRUE(phone.timers(timer).empty());
}

TEST(BatchQueue, ForgetsItsTimerOnceThatHasFired) {
  WaitingPhone phone;
  phone.track();
  EXPECT_NE(phone.state().mlTrackerWaitTimer.load(), nullptr);
  phone.process.advance(60);
  EXPECT_EQ(phone.state().mlTrackerWaitTimer.load(), nullptr);
}

TEST(BatchQueue, IsFlushedOnceMoreForAFlushThatComesMeanwhile) {
  WaitingPhone phone;
  ObservedEnvironment environment(phone.process);
  const auto tracker = MarluneTracker::initMarluneWithParams(environment, {{"marluneAppId", "demo"}});
  tracker->trackEvent("first", "value");
  bool isFirst = true;
  environment.onMake = [&] {
    if (!std::exchange(isFirst, false)) return;
    tracker->trackEvent("second", "value");
    internalsOf(*tracker).batch.flushBatchQueue(false);
  };
  internalsOf(*tracker).batch.flushBatchQueue(false);
  EXPECT_EQ(phone.events("send").size(), 2U);
  EXPECT_TRUE(phone.batch().empty());
}

TEST(BatchQueue, IsFlushedByThe25thRecord) {
  WaitingPhone phone;
  phone.track(24);
  EXPECT_TRUE(phone.events("send").empty());
  phone.track();
  const auto sends = phone.events("send");
  ASSERT_EQ(sends.size(), 1U);
  EXPECT_EQ(sends[0]["payload"].array().size(), 25U);
  EXPECT_TRUE(phone.batch().empty());
  EXPECT_TRUE(phone.timers(timer).empty());
}

TEST(BatchQueue, LeavesAsOneQueuedRequestThatIsAnswered) {
  WaitingPhone phone;
  phone.track(2);
  const Array batch = phone.batch();
  phone.parts().batch.flushBatchQueue(false);
  const auto sends = phone.events("send");
  ASSERT_EQ(sends.size(), 1U);
  EXPECT_EQ(sends[0]["payload"], Value(batch));
  EXPECT_EQ(sends[0]["delegate"], Value(true));
  EXPECT_TRUE(sends[0]["background_task"].isNull());
  EXPECT_EQ(phone.stored("networkQueue"), with(Dictionary(), sends[0]["event_timestamp"].text(), batch));
}

TEST(BatchQueue, IsRemovedOnceItHasLeft) {
  WaitingPhone phone;
  phone.track();
  phone.parts().batch.flushBatchQueue(false);
  EXPECT_TRUE(phone.stored("batchEventQueue").isNull());
  EXPECT_TRUE(phone.parts().batch.isEmpty());
}

TEST(BatchQueue, KeepsWhatIsAppendedWhileItLeaves) {
  Phone phone;
  ObservedEnvironment environment(phone.process);
  const auto tracker = MarluneTracker::initMarluneWithParams(environment, {{"marluneAppId", "demo"}});
  phone.reply(1, neutral);
  tracker->trackEvent("before", "value");
  bool appended = false;
  environment.onMake = [&] {
    if (!std::exchange(appended, true)) tracker->trackEvent("while", "value");
  };
  phone.forgetEvents();
  internalsOf(*tracker).batch.flushBatchQueue(false);
  ASSERT_EQ(phone.events("send").size(), 1U);
  EXPECT_EQ(phone.events("send")[0]["payload"].array().size(), 1U);
  ASSERT_EQ(phone.batch().size(), 1U);
  EXPECT_EQ(phone.batch()[0].dictionary()["data"].dictionary()["event_name"], Value("while"));
}

TEST(BatchQueue, SlowsThoseDownWhoFillItBeyondMeasureWhileAnotherThreadFlushes) {
  Phone phone;
  phone.mayCause("batch-size");
  ObservedEnvironment environment(phone.process);
  const auto tracker = MarluneTracker::initMarluneWithParams(environment, {{"marluneAppId", "demo"}});
  phone.reply(1, neutral);
  tracker->trackEvent("before", "value");
  constexpr int unhurried = 101;  // with the one before
  constexpr int slowed = 20;
  std::chrono::steady_clock::duration time{};
  bool appended = false;
  environment.onMake = [&] {
    if (std::exchange(appended, true)) return;
    std::thread other([&] {
      while (phone.batch().size() < unhurried) tracker->trackEvent("while", "value");
      const auto begin = std::chrono::steady_clock::now();
      for (int number = 0; number < slowed; ++number) tracker->trackEvent("while", "value");
      time = std::chrono::steady_clock::now() - begin;
    });
    other.join();
  };
  internalsOf(*tracker).batch.flushBatchQueue(false);
  EXPECT_GE(time, slowed * std::chrono::milliseconds(1));
  EXPECT_TRUE(phone.batch().empty());
}

TEST(BatchQueue, LeavesInABackgroundTaskWhenTheApplicationResigns) {
  WaitingPhone phone;
  phone.track();
  phone.parts().batch.flushBatchQueue(true);
  EXPECT_EQ(phone.batch().size(), 1U) << "the flush has its own thread";
  phone.process.runQueues();
  const auto begun = phone.events("background_task_began");
  const auto sends = phone.events("send");
  ASSERT_EQ(begun.size(), 1U);
  ASSERT_EQ(sends.size(), 1U);
  EXPECT_EQ(begun[0]["name"], Value("MarluneBackgroundFlush"));
  EXPECT_EQ(sends[0]["background_task"], begun[0]["task"]);
  EXPECT_TRUE(phone.events("background_task_ended").empty());
  phone.process.network().reply(static_cast<std::uint64_t>(sends[0]["request"].integerValue()), Dictionary());
  ASSERT_EQ(phone.events("background_task_ended").size(), 1U);
  EXPECT_EQ(phone.events("background_task_ended")[0]["task"], begun[0]["task"]);
}

TEST(BatchQueue, EndsItsBackgroundTaskWhenTheSystemsPatienceIsOver) {
  WaitingPhone phone;
  phone.track();
  phone.parts().batch.flushBatchQueue(true);
  phone.process.runQueues();
  const Value task = phone.events("background_task_began").at(0)["task"];
  phone.process.expire(static_cast<BackgroundTaskIdentifier>(task.integerValue()));
  ASSERT_EQ(phone.events("background_task_ended").size(), 1U);
  EXPECT_EQ(phone.events("background_task_ended")[0]["task"], task);
  EXPECT_EQ(phone.process.network().pending().size(), 1U);
}

TEST(BatchQueue, SaysWhatIsAppendedWhileLoggingIsOn) {
  WaitingPhone phone;
  phone.parts().batch.appendBatchEvent("record");
  EXPECT_TRUE(phone.events("log").empty());
  phone.tracker->enableConsoleLogging(true);
  phone.parts().batch.appendBatchEvent("record");
  EXPECT_EQ(phone.logged("Marlune library - appending: record"), 1);
}

TEST(BatchQueue, TakesWhatIsNoArrayForEmpty) {
  WaitingPhone phone;
  phone.store("batchEventQueue", "text");
  EXPECT_TRUE(phone.parts().batch.isEmpty());
  phone.track();
  EXPECT_EQ(phone.batch().size(), 1U);
}

TEST(BatchQueue, AppendsNoNullButRestartsTheWait) {
  WaitingPhone phone;
  phone.parts().batch.appendBatchEvent(nullptr);
  phone.process.runQueues();
  EXPECT_EQ(phone.stored("batchEventQueue"), Value(Array()));
  EXPECT_EQ(phone.timers(timer), Seconds({60}));
}

/// How many requests go when the app becomes active at that time, and a record of 1700000000 waits.
std::size_t sentByAnActivationAt(double time) {
  WaitingPhone phone;
  phone.store("sessionTracking", 2);
  phone.track();
  phone.device.setNow(time);
  phone.activate();
  return phone.events("send").size();
}

TEST(BatchQueue, IsFlushedByAnActivationOneSecondAfterTheWait) { EXPECT_EQ(sentByAnActivationAt(1700000061), 1U); }

TEST(BatchQueue, WaitsForTheRestOfItsTimeFromAnActivationOn) {
  WaitingPhone phone;
  phone.store("sessionTracking", 2);
  phone.track();
  for (const auto& [time, rest] : {std::pair(1700000020, 40.0), std::pair(1700000060, 0.0)}) {
    phone.device.setNow(time);
    phone.activate();
    EXPECT_EQ(phone.timers(timer), Seconds({rest}));
  }
  EXPECT_TRUE(phone.events("send").empty());
}

TEST(BatchQueue, IsFlushedByAnActivationBeforeItsLastRecord) { EXPECT_EQ(sentByAnActivationAt(1699999999), 1U); }

TEST(BatchQueue, ThatIsEmptyWaitsForNothingAtAnActivation) {
  WaitingPhone phone;
  phone.store("sessionTracking", 2);
  phone.activate();
  EXPECT_TRUE(phone.timers(timer).empty());
  EXPECT_TRUE(phone.events("send").empty());
}

TEST(BatchQueue, IsFlushedByTheTimerOfAnEarlierTrackerThatIsKept) {
  WaitingPhone phone;
  phone.track();
  const auto later = phone.construct();
  phone.process.advance(60);
  EXPECT_EQ(phone.events("send").size(), 1U);
}

TEST(BatchQueue, IsNotFlushedByTheTimerOfATrackerThatHasEnded) {
  WaitingPhone phone;
  phone.track();
  const auto later = phone.construct();
  phone.tracker.reset();
  phone.process.advance(60);
  EXPECT_TRUE(phone.events("send").empty());
  EXPECT_EQ(phone.batch().size(), 1U);
}

TEST(BatchQueue, BeginsWithAWaitOfAMinuteAndKeepsALaterOne) {
  Phone phone;
  auto tracker = phone.construct();
  EXPECT_EQ(phone.stored("mltrackerWait"), Value(60));
  EXPECT_EQ(phone.stored("lastMLTrackerQueued"), Value(0));
  phone.store("mltrackerWait", 120);
  phone.store("lastMLTrackerQueued", 7);
  tracker = phone.construct();
  EXPECT_EQ(phone.stored("mltrackerWait"), Value(120));
  EXPECT_EQ(phone.stored("lastMLTrackerQueued"), Value(7));
}

}  // namespace
}  // namespace fliprugair
