#include "tools/swarm/Habits.h"

#include <cmath>
#include <numbers>

namespace fliprugair::swarm {

namespace {

constexpr double swing = 0.8;
constexpr double busiestHour = 20;

/// How busy this hour is beside the average one.
double busyness(Time now) {
  const double hours = static_cast<double>(now % day) / static_cast<double>(hour);
  return 1 + swing * std::cos((hours - busiestHour) / 12 * std::numbers::pi);
}

}  // namespace

/// Candidates come as often as in the busiest hour; of those in a quieter one some are dropped.
Time nextSession(const Habits& habits, Time now, Random& random) {
  const double mean = inSeconds(day) / habits.sessionsADay / (1 + swing);
  do {
    now += fromSeconds(random.exponential(mean)) + 1;
  } while (!random.chance(busyness(now) / (1 + swing)));
  return now;
}

}  // namespace fliprugair::swarm
