#include <string>
#include <thread>

#include "Fliprugair/platform/NotificationCenter.h"

namespace fliprugair {
namespace {

using Notification = ApplicationNotification;

TEST(NotificationCenter, CallsHandlersInTheOrderOfSubscription) {
  NotificationCenter center;
  std::string calls;
  const int first = 0;
  const int second = 0;
  center.addObserver(&first, Notification::didBecomeActive, [&] { calls += "1"; });
  center.addObserver(&second, Notification::didBecomeActive, [&] { calls += "2"; });
  center.addObserver(&first, Notification::didBecomeActive, [&] { calls += "3"; });
  center.post(Notification::didBecomeActive);
  EXPECT_EQ(calls, "123");
}

TEST(NotificationCenter, DeliversANotificationOnlyToThoseWhoAskedForIt) {
  NotificationCenter center;
  int calls = 0;
  center.addObserver(&calls, Notification::didBecomeActive, [&] { ++calls; });
  center.post(Notification::didFinishLaunching);
  center.post(Notification::willResignActive);
  center.post(Notification::willTerminate);
  EXPECT_EQ(calls, 0);
  center.post(Notification::didBecomeActive);
  EXPECT_EQ(calls, 1);
}

TEST(NotificationCenter, RemovingAnObserverEndsAllItsSubscriptionsAndNoOthers) {
  NotificationCenter center;
  std::string calls;
  const int leaving = 0;
  const int staying = 0;
  center.addObserver(&leaving, Notification::didBecomeActive, [&] { calls += "L"; });
  center.addObserver(&staying, Notification::didBecomeActive, [&] { calls += "S"; });
  center.addObserver(&leaving, Notification::willTerminate, [&] { calls += "T"; });
  center.removeObserver(&leaving);
  center.removeObserver(&leaving);
  center.post(Notification::didBecomeActive);
  center.post(Notification::willTerminate);
  EXPECT_EQ(calls, "S");
}

TEST(NotificationCenter, AHandlerMayChangeTheSubscriptions) {
  NotificationCenter center;
  int late = 0;
  const int observer = 0;
  center.addObserver(&observer, Notification::didBecomeActive, [&] {
    center.removeObserver(&observer);
    center.addObserver(&late, Notification::didBecomeActive, [&] { ++late; });
    center.post(Notification::willTerminate);
  });
  center.post(Notification::didBecomeActive);
  EXPECT_EQ(late, 0);
  center.post(Notification::didBecomeActive);
  EXPECT_EQ(late, 1);
}

TEST(NotificationCenter, IsUsedFromSeveralThreads) {
  NotificationCenter center;
  std::atomic<int> calls = 0;
  const int steady = 0;
  center.addObserver(&steady, Notification::didBecomeActive, [&] { ++calls; });
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&] {
      const int own = 0;
      for (int round = 0; round < 200; ++round) {
        center.addObserver(&own, Notification::willTerminate, [&] { ++calls; });
        center.post(Notification::didBecomeActive);
        center.removeObserver(&own);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(calls, 800);
}

}  // namespace
}  // namespace fliprugair
