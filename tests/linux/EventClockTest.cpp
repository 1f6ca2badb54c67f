#include <set>
#include <thread>
#include <vector>

#include "platform/linux/EventClock.h"

namespace fliprugair {
namespace {

TEST(EventClock, GivesTheTimeAsItIs) {
  EventClock clock;
  EXPECT_EQ(clock.distinct(1'700'000'000'000'000), 1'700'000'000'000'000);
  EXPECT_EQ(clock.distinct(1'700'000'000'000'005), 1'700'000'000'000'005);
}

TEST(EventClock, GivesNoMicrosecondTwice) {
  EventClock clock;
  EXPECT_EQ(clock.distinct(1000), 1000);
  EXPECT_EQ(clock.distinct(1000), 1001);
  EXPECT_EQ(clock.distinct(1000), 1002);
  EXPECT_EQ(clock.distinct(1003), 1003);
}

TEST(EventClock, FollowsAClockThatIsSetBack) {
  EventClock clock;
  EXPECT_EQ(clock.distinct(1'700'000'000'000'000), 1'700'000'000'000'000);
  EXPECT_EQ(clock.distinct(1'699'999'999'000'000), 1'699'999'999'000'000);
}

TEST(EventClock, IsDistinctOnAllThreads) {
  EventClock clock;
  std::vector<std::vector<std::int64_t>> times(8);
  std::vector<std::thread> threads;
  for (auto& mine : times) {
    threads.emplace_back([&] {
      for (int round = 0; round < 1000; ++round) mine.push_back(clock.now());
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::set<std::int64_t> all;
  for (const auto& mine : times) all.insert(mine.begin(), mine.end());
  EXPECT_EQ(all.size(), 8000U);
}

}  // namespace
}  // namespace fliprugair
