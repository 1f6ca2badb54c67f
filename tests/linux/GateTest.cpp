#include <stdexcept>
#include <thread>

#include "linux/Support.h"
#include "platform/linux/Gate.h"

namespace fliprugair {
namespace {

TEST(Gate, ACallPassesUntilItIsClosed) {
  Gate gate;
  int calls = 0;
  gate.pass([&] { ++calls; });
  gate.close();
  gate.pass([&] { ++calls; });
  EXPECT_EQ(calls, 1);
}

TEST(Gate, OnlyTheCallingThreadIsInside) {
  Gate gate;
  bool inside = false;
  bool otherInside = true;
  gate.pass([&] {
    inside = gate.isInside();
    std::thread([&] { otherInside = gate.isInside(); }).join();
  });
  EXPECT_TRUE(inside);
  EXPECT_FALSE(otherInside);
  EXPECT_FALSE(gate.isInside());
}

TEST(Gate, ClosingWaitsForTheCallsThatAreInside) {
  Gate gate;
  Happening inside;
  std::promise<void> release;
  std::atomic<bool> over = false;
  std::thread caller([&] {
    gate.pass([&] {
      inside.happens();
      release.get_future().wait();
      std::this_thread::sleep_for(std::chrono::milliseconds(20));  // in which a closing that does not wait is seen
      over = true;
    });
  });
  ASSERT_TRUE(inside.happened());
  release.set_value();
  gate.close();
  EXPECT_TRUE(over);
  caller.join();
}

TEST(Gate, ACallThatThrowsHasLeft) {
  Gate gate;
  EXPECT_THROW(gate.pass([] { throw std::runtime_error("refused"); }), std::runtime_error);
  gate.close();
  EXPECT_FALSE(gate.isInside());
}

}  // namespace
}  // namespace fliprugair
