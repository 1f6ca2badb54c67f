#include <stdexcept>

#include "linux/Support.h"
#include "platform/linux/EventLoop.h"
#include "platform/linux/LinuxApplication.h"

namespace fliprugair {
namespace {

using namespace std::chrono_literals;

/// An application whose main queue the test turns.
struct TurnedApplication {
  explicit TurnedApplication(std::chrono::milliseconds taskTime) : application(loop, taskTime, facts, record.log()) {
    facts.store(std::make_shared<HostFacts>());
  }

  /// Turns the main queue until all background tasks have ended, by themselves or by their time.
  void waitForTasks() {
    application.whenAllEnded([this] { loop.stop(); });
    loop.run();
  }

  Record record;
  FactsInForce facts;
  EventLoop loop{record.log()};
  LinuxApplication application;
};

TEST(LinuxApplication, EveryBackgroundTaskHasAnIdentifierOfItsOwn) {
  TurnedApplication fixture(1h);
  const BackgroundTaskIdentifier first = fixture.application.beginBackgroundTask("first", nullptr);
  const BackgroundTaskIdentifier second = fixture.application.beginBackgroundTask("second", nullptr);
  EXPECT_NE(first, invalidBackgroundTask);
  EXPECT_NE(second, invalidBackgroundTask);
  EXPECT_NE(first, second);
}

TEST(LinuxApplication, WithoutBackgroundTasksNothingIsWaitedFor) {
  TurnedApplication fixture(1h);
  fixture.waitForTasks();
  EXPECT_EQ(fixture.loop.nextDeadline(), std::nullopt);
}

TEST(LinuxApplication, ATaskThatEndsInTimeDoesNotExpire) {
  TurnedApplication fixture(1h);
  bool expired = false;
  const BackgroundTaskIdentifier task = fixture.application.beginBackgroundTask("flush", [&] { expired = true; });
  std::thread other([&] { fixture.application.endBackgroundTask(task); });
  fixture.waitForTasks();
  other.join();
  EXPECT_FALSE(expired);
  fixture.loop.poll();
  EXPECT_EQ(fixture.loop.nextDeadline(), std::nullopt);
}

TEST(LinuxApplication, ATaskExpiresOnTheMainThreadWhenItsTimeIsOver) {
  TurnedApplication fixture(20ms);
  const auto begin = std::chrono::steady_clock::now();
  std::thread::id thread;
  std::chrono::steady_clock::time_point expired;
  std::thread([&] {
    fixture.application.beginBackgroundTask("flush", [&] {
      thread = std::this_thread::get_id();
      expired = std::chrono::steady_clock::now();
      fixture.loop.stop();
    });
  }).join();
  fixture.loop.run();
  EXPECT_EQ(thread, std::this_thread::get_id());
  EXPECT_GE(expired - begin, 20ms);
  EXPECT_TRUE(fixture.record.lines().empty());
}

TEST(LinuxApplication, AnExpirationHandlerRunsOnceAndMayEndItsTask) {
  TurnedApplication fixture(1ms);
  int expired = 0;
  BackgroundTaskIdentifier task = invalidBackgroundTask;
  task = fixture.application.beginBackgroundTask("flush", [&] {
    ++expired;
    fixture.application.endBackgroundTask(task);
  });
  fixture.waitForTasks();
  EXPECT_EQ(expired, 1);
}

TEST(LinuxApplication, WhatAnExpirationHandlerThrowsDoesNotEndTheWaiting) {
  TurnedApplication fixture(1ms);
  fixture.application.beginBackgroundTask("flush", [] { throw std::runtime_error("refused"); });
  fixture.waitForTasks();
  EXPECT_EQ(fixture.record.lines().back(), "An expiration handler threw: refused");
}

TEST(LinuxApplication, WaitingEndsAlthoughExpirationHandlersBeginTasks) {
  TurnedApplication fixture(5ms);
  int expired = 0;
  std::function<void()> begin = [&] {
    ++expired;
    fixture.application.beginBackgroundTask("again", begin);
  };
  begin();
  fixture.waitForTasks();
  EXPECT_GE(expired, 2);
}

TEST(LinuxApplication, EndingAnUnknownTaskIsIgnored) {
  TurnedApplication fixture(1h);
  fixture.application.endBackgroundTask(invalidBackgroundTask);
  fixture.application.endBackgroundTask(42);
  const BackgroundTaskIdentifier task = fixture.application.beginBackgroundTask("flush", nullptr);
  fixture.application.endBackgroundTask(task);
  fixture.application.endBackgroundTask(task);
  fixture.waitForTasks();
  EXPECT_TRUE(fixture.record.lines().empty());
}

}  // namespace
}  // namespace fliprugair
