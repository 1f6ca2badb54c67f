// Percentiles of durations.

#include <gtest/gtest.h>

#include "tools/swarm/Latencies.h"

namespace fliprugair::swarm {
namespace {

TEST(Latencies, GivePercentilesToWithinAHundredth) {
  Latencies latencies;
  for (int millisecond = 1; millisecond <= 1000; ++millisecond) latencies.add(millisecond / 1000.0);
  for (const double share : {0.01, 0.5, 0.9, 0.99, 1.0}) {
    EXPECT_NEAR(latencies.percentile(share), share, share * 0.0101) << share;
  }
}

TEST(Latencies, AddUp) {
  Latencies fast;
  Latencies slow;
  for (int count = 0; count < 90; ++count) fast.add(0.001);
  for (int count = 0; count < 10; ++count) slow.add(1);
  fast += slow;
  EXPECT_NEAR(fast.percentile(0.9), 0.001, 0.00002);
  EXPECT_NEAR(fast.percentile(0.91), 1, 0.02);
}

TEST(Latencies, AreNoneAtFirst) { EXPECT_EQ(Latencies().percentile(0.5), 0); }

}  // namespace
}  // namespace fliprugair::swarm
