#pragma once

#include <cstdint>

#include "Fliprugair/platform/Value.h"
#include "tools/swarm/Random.h"

namespace fliprugair::swarm {

/// Seconds since the swarm's first moment, which is a midnight, in nanoseconds: what a virtual device counts in.
using Time = std::int64_t;

constexpr Time second = 1'000'000'000;
constexpr Time minute = 60 * second;
constexpr Time hour = 60 * minute;
constexpr Time day = 24 * hour;

inline Time fromSeconds(double seconds) { return static_cast<Time>(seconds * 1e9); }
inline double inSeconds(Time time) { return static_cast<double>(time) / 1e9; }

/// What the people who use the devices do, on average.
struct Habits {
  double sessionsADay = 3;    ///< most of them in the evening
  double eventsASession = 8;  ///< at least one
  double secondsBetweenEvents = 20;
  double restarts = 0.3;           ///< share of the sessions after which the system ends the application
  double crashes = 0.01;           ///< share of the sessions that end without a word
  double offline = 0.1;            ///< share of the sessions in which no request gets through
  double daysBetweenUpdates = 30;  ///< of the application
  double installHours = 1;         ///< in which all devices install it, one as likely as the other
};

/// When the next session begins after `now`: at 20 o'clock nine times as likely as at 8.
Time nextSession(const Habits& habits, Time now, Random& random);

/// What all devices of a swarm have in common.
struct Fleet {
  std::uint64_t seed = 1;
  Habits habits;
  double startsAt = 1699920000;  ///< the wall clock at the first moment, seconds since 1970
  Value trackerOptions;          ///< as for MarluneTracker::initMarluneWithParams
};

}  // namespace fliprugair::swarm
