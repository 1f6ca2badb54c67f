// When people open the app.

#include <gtest/gtest.h>

#include "tools/swarm/Habits.h"

namespace fliprugair::swarm {
namespace {

/// The hours of the day at which the sessions of a thousand days begin.
std::array<int, 24> sessionsByHour(const Habits& habits) {
  std::array<int, 24> counts{};
  Random random(1);
  for (Time now = nextSession(habits, 0, random); now < 1000 * day; now = nextSession(habits, now, random)) {
    ++counts[static_cast<std::size_t>(now % day / hour)];
  }
  return counts;
}

TEST(NextSession, ComesAsOftenADayAsTheHabitSays) {
  Habits habits;
  habits.sessionsADay = 5;
  int all = 0;
  for (const int count : sessionsByHour(habits)) all += count;
  EXPECT_NEAR(all, 5000, 300);
}

TEST(NextSession, IsMoreLikelyInTheEveningThanInTheMorning) {
  const auto counts = sessionsByHour(Habits());
  EXPECT_GT(counts[20], 4 * counts[8]);
}

TEST(Random, GivesNeighbouringDevicesDifferentSeeds) {
  std::set<std::uint64_t> seeds;
  for (std::uint64_t seed = 0; seed < 10; ++seed) {
    for (std::uint64_t index = 0; index < 1000; ++index) seeds.insert(Random::mixed(seed, index));
  }
  EXPECT_EQ(seeds.size(), 10000U);
}

TEST(Random, HasTheMeanThatIsAskedFor) {
  Random random(7);
  double sum = 0;
  for (int count = 0; count < 100000; ++count) sum += random.exponential(20);
  EXPECT_NEAR(sum / 100000, 20, 0.5);
}

}  // namespace
}  // namespace fliprugair::swarm
