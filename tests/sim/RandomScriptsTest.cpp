// A few of the scripts that fliprugair_random_scripts runs by the million, with fixed seeds.

#include <gtest/gtest.h>

#include "random/RandomScripts.h"

namespace fliprugair::sim {
namespace {

class RandomScripts : public testing::TestWithParam<std::uint64_t> {};

TEST_P(RandomScripts, LeaveNothingBrokenBehind) {
  constexpr std::uint64_t scripts = 25;
  for (std::uint64_t number = 0; number < scripts; ++number) {
    const std::uint64_t seed = GetParam() + number;
    const auto failure = runRandomScript(seed, 200);
    ASSERT_FALSE(failure.has_value()) << "seed " << seed << ": " << failure->text();
  }
}

INSTANTIATE_TEST_SUITE_P(FromSeed, RandomScripts, testing::Values(1, 1001, 2001, 3001, 4001, 5001, 6001, 7001));

}  // namespace
}  // namespace fliprugair::sim
