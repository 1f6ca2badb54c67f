#include <chrono>
#include <thread>

#include "linux/Support.h"
#include "platform/linux/Ending.h"

namespace fliprugair {
namespace {

TEST(Ending, IsWaitedForByWhoeverCaresForIt) {
  Ending ending;
  EXPECT_FALSE(ending.hasEnded());
  std::thread other([&] { ending.end(); });
  ending.wait();
  EXPECT_TRUE(ending.hasEnded());
  other.join();
  ending.end();
  EXPECT_TRUE(ending.hasEnded());
}

TEST(Ending, IsNotWaitedForBeyondTheDeadline) {
  Ending ending;
  ending.waitUntil(std::chrono::steady_clock::now());
  EXPECT_FALSE(ending.hasEnded());
  ending.end();
  ending.waitUntil(std::chrono::steady_clock::now() + std::chrono::hours(1));
  EXPECT_TRUE(ending.hasEnded());
}

TEST(Ending, ComesWhenNobodyIsLeftWhoCouldBringItAbout) {
  const auto ending = std::make_shared<Ending>();
  auto first = endAtTheLatestOf(ending);
  auto second = first;
  first = nullptr;
  EXPECT_FALSE(ending->hasEnded());
  second = nullptr;
  EXPECT_TRUE(ending->hasEnded());
}

}  // namespace
}  // namespace fliprugair
