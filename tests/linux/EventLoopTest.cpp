#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <stdexcept>
#include <thread>

#include "linux/Support.h"
#include "platform/linux/EventLoop.h"

namespace {

thread_local int writes = 0;  ///< such as wake a loop

}  // namespace

/// Stands in for the C library's, and counts.
extern "C" ssize_t write(int descriptor, const void* bytes, size_t size) {
  ++writes;
  return syscall(SYS_write, descriptor, bytes, size);
}

namespace fliprugair {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

TEST(EventLoop, ATaskNeverRunsInsideTheCallThatPostsIt) {
  EventLoop loop({});
  Record record;
  loop.async([&] {
    loop.async([&] { record.add("inner"); });
    record.add("outer");
  });
  record.add("posted");
  while (record.lines().size() < 3) loop.poll();
  EXPECT_EQ(record.lines(), (std::vector<std::string>{"posted", "outer", "inner"}));
}

TEST(EventLoop, TasksOfEveryThreadKeepTheirOrder) {
  constexpr int threads = 4;
  constexpr int tasksEach = 2000;
  EventLoop loop({});
  std::vector<int> next(threads, 0);  // main thread only
  int outOfOrder = 0;
  int run = 0;
  std::vector<std::thread> posters;
  for (int thread = 0; thread < threads; ++thread) {
    posters.emplace_back([&, thread] {
      for (int number = 0; number < tasksEach; ++number) {
        loop.async([&, thread, number] {
          if (next[thread]++ != number) ++outOfOrder;
          if (++run == threads * tasksEach) loop.stop();
        });
      }
    });
  }
  loop.run();
  for (std::thread& poster : posters) poster.join();
  EXPECT_EQ(run, threads * tasksEach);
  EXPECT_EQ(outOfOrder, 0);
}

TEST(EventLoop, TasksInABurstAllRunAlthoughTheFirstAloneWakesIt) {
  EventLoop loop({});
  constexpr int count = 1000;
  int run = 0;
  std::atomic<long> sleeps = -1;
  std::thread main([&] {
    loop.run();
    sleeps = sleepsOf(gettid());
  });
  const auto begin = Clock::now();
  for (int number = 0; number < count; ++number) {
    loop.async([&] { ++run; });
    const auto next = Clock::now() + 20us;
    while (Clock::now() < next) {
    }
  }
  const auto length = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin).count();
  loop.stop();
  main.join();
  EXPECT_EQ(run, count);
  EXPECT_LE(sleeps, length + 20);
}

TEST(EventLoop, IsNotWokenForATaskOfAnotherThreadWhileItLooksAgainByItself) {
  EventLoop loop({});
  int wakeUps = -1;
  loop.async([&] {
    std::thread([&] {
      writes = 0;
      loop.async([&] { loop.stop(); });
      wakeUps = writes;
    }).join();
  });
  loop.run();
  EXPECT_EQ(wakeUps, 0);
}

TEST(EventLoop, WakesItselfForAStopAlone) {
  EventLoop loop({});
  // A turn later, so that no wake-up is left that would hide another.
  loop.scheduleTimer(0, "turn", [&] { loop.scheduleTimer(0.001, "stop", [&] { loop.stop(); }); });
  writes = 0;
  loop.run();
  EXPECT_EQ(writes, 1);
}

TEST(EventLoop, ATaskThatATaskPostsDoesNotWait) {
  EventLoop loop({});
  int left = 500;
  std::function<void()> next = [&] { --left > 0 ? loop.async(next) : loop.stop(); };
  loop.async(next);
  const auto begin = Clock::now();
  loop.run();
  EXPECT_LT(Clock::now() - begin, 250ms);
}

TEST(EventLoop, ATaskOfAnotherThreadWakesWhoeverPollsAfterARun) {
  EventLoop loop({});
  loop.async([&] {
    loop.async([] {});
    loop.stop();
  });
  loop.run();
  int run = 0;
  std::thread([&] { loop.async([&] { ++run; }); }).join();
  while (run == 0) {
    pollfd descriptor{loop.fileDescriptor(), POLLIN, 0};
    ASSERT_EQ(poll(&descriptor, 1, 10000), 1);
    loop.poll();
  }
}

TEST(EventLoop, ATaskIsNotForgottenBetweenARunAndAPoll) {
  EventLoop loop({});
  int run = 0;
  loop.async([&] {
    loop.async([&] { ++run; });
    loop.stop();
  });
  loop.run();
  while (run == 0) {
    pollfd descriptor{loop.fileDescriptor(), POLLIN, 0};
    ASSERT_EQ(poll(&descriptor, 1, 10000), 1);
    loop.poll();
  }
}

TEST(EventLoop, ATimerFiresOnceAndNeverEarly) {
  EventLoop loop({});
  for (const double seconds : {0.0004, 0.001, 0.0025, 0.0101}) {
    int fired = 0;
    const Clock::time_point armed = Clock::now();
    Clock::time_point at;
    const auto timer = loop.scheduleTimer(seconds, "tested", [&] {
      ++fired;
      at = Clock::now();
      loop.stop();
    });
    EXPECT_TRUE(timer->isValid());
    loop.run();
    EXPECT_EQ(fired, 1);
    EXPECT_FALSE(timer->isValid());
    EXPECT_GE(std::chrono::duration<double>(at - armed).count(), seconds);
    EXPECT_EQ(loop.nextDeadline(), std::nullopt);
  }
}

TEST(EventLoop, ATimerWhoseReferenceIsDroppedStillFires) {
  EventLoop loop({});
  bool fired = false;
  loop.scheduleTimer(0.002, "tested", [&] {
    fired = true;
    loop.stop();
  });
  loop.run();
  EXPECT_TRUE(fired);
}

TEST(EventLoop, AnInvalidatedTimerDoesNotFire) {
  EventLoop loop({});
  bool fired = false;
  const auto timer = loop.scheduleTimer(0.001, "tested", [&] { fired = true; });
  timer->invalidate();
  EXPECT_FALSE(timer->isValid());
  EXPECT_EQ(loop.nextDeadline(), std::nullopt);
  loop.scheduleTimer(0.003, "later", [&] { loop.stop(); });
  loop.run();
  EXPECT_FALSE(fired);
  timer->invalidate();
}

TEST(EventLoop, ATimerWithoutWaitFiresOnALaterTurn) {
  for (const double seconds :
       {0.0, -0.0, -5.0, -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
    EventLoop loop({});
    bool fired = false;
    loop.scheduleTimer(seconds, "tested", [&] {
      fired = true;
      loop.stop();
    });
    EXPECT_FALSE(fired);
    loop.run();
    EXPECT_TRUE(fired) << seconds;
  }
}

TEST(EventLoop, HugeWaitsAreWaits) {
  EventLoop loop({});
  for (const double seconds : {1e9, 1e18, 1e300, std::numeric_limits<double>::infinity()}) {
    bool fired = false;
    const auto timer = loop.scheduleTimer(seconds, "tested", [&] { fired = true; });
    loop.scheduleTimer(0.002, "soon", [&] { loop.stop(); });
    loop.run();
    EXPECT_FALSE(fired) << seconds;
    ASSERT_TRUE(loop.nextDeadline());
    EXPECT_GT(*loop.nextDeadline() - Clock::now(), std::chrono::hours(24 * 365 * 20));
    timer->invalidate();
  }
}

TEST(EventLoop, WhatATaskThrowsIsLoggedAndDropped) {
  Record record;
  EventLoop loop(record.log());
  bool after = false;
  loop.async([] { throw std::runtime_error("first"); });
  loop.async([] { throw 2; });
  loop.scheduleTimer(0, "timerThatThrows", [] { throw std::runtime_error("third"); });
  loop.scheduleTimer(0.002, "last", [&] {
    after = true;
    loop.stop();
  });
  loop.run();
  EXPECT_TRUE(after);
  std::vector<std::string> lines = record.lines();
  std::sort(lines.begin(), lines.end());
  EXPECT_EQ(lines, (std::vector<std::string>{"A task of the main queue threw: first",
                                             "A task of the main queue threw: something that is no std::exception",
                                             "The timer's action timerThatThrows threw: third"}));
}

TEST(EventLoop, StopEndsTheNextRunWhenNoneIsInProgress) {
  EventLoop loop({});
  bool ran = false;
  loop.async([&] { ran = true; });
  loop.stop();
  loop.run();
  EXPECT_TRUE(ran);
}

TEST(EventLoop, AStopIsNotUsedUpByPolling) {
  EventLoop loop({});
  loop.stop();
  loop.poll();
  bool ran = false;
  loop.async([&] { ran = true; });
  loop.run();
  EXPECT_TRUE(ran);
  loop.async([&] {
    loop.stop();
    ran = false;
  });
  loop.poll();
  EXPECT_FALSE(ran);
  loop.run();
}

TEST(EventLoop, RunningInsideATaskHasNoEffect) {
  EventLoop loop({});
  bool returned = false;
  loop.async([&] {
    loop.run();
    loop.poll();
    returned = true;
    loop.stop();
  });
  loop.run();
  EXPECT_TRUE(returned);
}

TEST(EventLoop, ClosingDropsWhatIsLeftAndWhatStillComes) {
  EventLoop loop({});
  const auto held = std::make_shared<int>(0);
  bool ran = false;
  loop.async([&ran, held] { ran = true; });
  const auto timer = loop.scheduleTimer(0, "tested", [&ran, held] { ran = true; });
  loop.close();
  EXPECT_EQ(held.use_count(), 1);
  EXPECT_FALSE(timer->isValid());
  loop.async([&ran, held] { ran = true; });
  EXPECT_FALSE(loop.scheduleTimer(0, "tested", [&ran, held] { ran = true; })->isValid());
  EXPECT_EQ(held.use_count(), 1);
  loop.poll();
  EXPECT_FALSE(ran);
}

TEST(EventLoop, ATaskThatIsDroppedMayUseTheLoop) {
  EventLoop loop({});
  const auto other = loop.scheduleTimer(1, "other", [] {});
  int dropped = 0;
  const auto usesLoopWhenDestroyed = [&] {
    return std::shared_ptr<void>(nullptr, [&](void*) {
      ++dropped;
      loop.async([] {});
      other->invalidate();
      loop.scheduleTimer(0, "late", [] {});
    });
  };
  loop.async([held = usesLoopWhenDestroyed()] {});
  loop.scheduleTimer(2, "holder", [held = usesLoopWhenDestroyed()] {});
  loop.close();
  EXPECT_EQ(dropped, 2);
  EXPECT_FALSE(other->isValid());
}

TEST(EventLoop, ATimerMayOutliveItsLoop) {
  std::shared_ptr<Timer> timer;
  {
    EventLoop loop({});
    timer = loop.scheduleTimer(1, "tested", [] {});
  }
  EXPECT_FALSE(timer->isValid());
  timer->invalidate();
}

}  // namespace
}  // namespace fliprugair
