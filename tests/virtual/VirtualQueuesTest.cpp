// The queues and timers of a virtual process.

#include <gtest/gtest.h>

#include "platform/virtual/VirtualQueues.h"

namespace fliprugair {
namespace {

TEST(VirtualTasks, RunInOrderAndThoseThatTheyPostBehindThem) {
  VirtualTasks tasks;
  std::string order;
  tasks.post([&] {
    order += 'a';
    tasks.post([&] { order += 'd'; });
  });
  for (const char name : {'b', 'c'}) tasks.post([&, name] { order += name; });
  EXPECT_TRUE(tasks.runEmpty());
  EXPECT_EQ(order, "abcd");
  EXPECT_FALSE(tasks.runEmpty());
}

TEST(VirtualTasks, StayInOrderWhenOneOfThemRunsTheRest) {
  VirtualTasks tasks;
  std::string order;
  tasks.post([&] {
    order += 'a';
    tasks.post([&] { order += 'c'; });
    EXPECT_TRUE(tasks.runEmpty());
    order += 'd';
  });
  tasks.post([&] { order += 'b'; });
  tasks.runEmpty();
  EXPECT_EQ(order, "abcd");
}

TEST(VirtualTasks, AreDroppedWithWhatTheyOwnWhenOneOfThemClosesTheQueue) {
  VirtualTasks tasks;
  const auto owned = std::make_shared<int>();
  bool ran = false;
  tasks.post([&] { tasks.close(); });
  tasks.post([&ran, owned] { ran = true; });
  tasks.runEmpty();
  tasks.post([&ran, owned] { ran = true; });
  EXPECT_FALSE(tasks.runEmpty());
  EXPECT_FALSE(ran);
  EXPECT_EQ(owned.use_count(), 1);
}

class VirtualTimers : public ::testing::Test {
 protected:
  std::shared_ptr<Timer> arm(double seconds, std::string_view name) {
    return queue->scheduleTimer(seconds, name, [this, name] { fired += name; });
  }
  void advance(double seconds) {
    const auto target = device.uptime() + static_cast<VirtualDevice::Nanoseconds>(seconds * 1e9);
    while (queue->fireNext(target)) {
    }
    device.moveTo(target);
  }
  std::string armed() const {
    std::string names;
    for (const auto& timer : queue->armed()) names += timer.selector;
    return names;
  }

  std::string events;
  VirtualDevice device{
      [this](const Dictionary& event) { events += event["event"].text() + ' ' + event["selector"].text() + '\n'; },
      [](std::string_view) { return false; }};
  std::unique_ptr<VirtualMainQueue> queue = std::make_unique<VirtualMainQueue>(device);
  std::string fired;
};

TEST_F(VirtualTimers, FireAsTheyAreDueAndOfTheSameTimeAsTheyWereArmed) {
  using Timers = std::map<std::string_view, double>;
  for (const auto& [name, seconds] : Timers{{"a", 2}, {"b", 2}, {"c", 3}, {"d", 1}, {"e", 4}}) arm(seconds, name);
  EXPECT_EQ(armed(), "dabce");
  advance(3);
  EXPECT_EQ(fired, "dabc");
  EXPECT_EQ(armed(), "e");
}

TEST_F(VirtualTimers, ThatAreDueBeyondTheClockStandLastAndNeverFire) {
  arm(1e300, "never");
  arm(1, "a");
  EXPECT_EQ(armed(), "anever");
  advance(1e9);
  EXPECT_EQ(fired, "a");
  EXPECT_EQ(queue->nextDeadline(), std::nullopt);
  EXPECT_EQ(queue->armed().front().dueIn, 1e300);
}

TEST_F(VirtualTimers, DoNotFireOnceStopped) {
  const auto first = arm(1, "a");
  const auto second = arm(1, "b");
  const auto third = arm(1, "c");
  second->invalidate();
  second->invalidate();
  EXPECT_FALSE(second->isValid());
  EXPECT_TRUE(first->isValid());
  EXPECT_TRUE(third->isValid());
  advance(1);
  EXPECT_EQ(fired, "ac");
  EXPECT_FALSE(first->isValid());
  first->invalidate();
  EXPECT_EQ(events, "timer_armed a\ntimer_armed b\ntimer_armed c\ntimer_stopped b\ntimer_fired a\ntimer_fired c\n");
}

TEST_F(VirtualTimers, AreNotValidWhileTheyFire) {
  std::shared_ptr<Timer> timer;
  bool wasValid = true;
  timer = queue->scheduleTimer(1, "a", [&] { wasValid = timer->isValid(); });
  advance(1);
  EXPECT_FALSE(wasValid);
}

TEST_F(VirtualTimers, MayOutliveTheirQueue) {
  const auto timer = arm(1, "a");
  EXPECT_TRUE(timer->isValid());
  queue = nullptr;
  EXPECT_FALSE(timer->isValid());
  timer->invalidate();
  EXPECT_EQ(events, "timer_armed a\n");
}

TEST_F(VirtualTimers, OfAClosedQueueNeitherFireNorStop) {
  const auto timer = arm(1, "a");
  queue->close();
  EXPECT_EQ(queue->nextDeadline(), std::nullopt);
  timer->invalidate();
  advance(2);
  EXPECT_EQ(fired, "");
  EXPECT_EQ(events, "timer_armed a\n");
}

}  // namespace
}  // namespace fliprugair
