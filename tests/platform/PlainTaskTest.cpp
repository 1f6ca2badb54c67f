#include <gtest/gtest.h>

#include "platform/PlainTask.h"

namespace fliprugair {
namespace {

TEST(PlainTask, RunsWithWhatItHasCapturedAsOftenAsItIsCalled) {
  int sum = 0;
  const PlainTask task = [&sum, number = 3] { sum += number; };
  task();
  task();
  EXPECT_EQ(sum, 6);
}

TEST(PlainTask, RunsAsACopyOfOneThatIsGone) {
  bool ran = false;
  PlainTask copy = [] { FAIL() << "it was replaced"; };
  {
    const PlainTask task = [&ran] { ran = true; };
    copy = task;
  }
  copy();
  EXPECT_TRUE(ran);
}

}  // namespace
}  // namespace fliprugair
