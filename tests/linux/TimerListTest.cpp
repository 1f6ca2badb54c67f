#include "linux/Support.h"
#include "platform/linux/TimerList.h"

namespace fliprugair {
namespace {

using namespace std::chrono_literals;
using TimePoint = TimerList::TimePoint;

/// Runs what is due, and answers with the selectors in order.
std::vector<std::string> due(TimerList& list, TimePoint now) {
  std::vector<std::string> selectors;
  list.runDue(now, [&](const TimerList::Action& action, std::string_view selector) {
    selectors.emplace_back(selector);
    action();
  });
  return selectors;
}

TEST(TimerList, EqualDueTimesFireInTheOrderOfArming) {
  TimerList list;
  const TimePoint then{5s};
  for (const char* selector : {"first", "second", "third"}) list.add(then, selector, [] {});
  EXPECT_EQ(due(list, then), (std::vector<std::string>{"first", "second", "third"}));
}

TEST(TimerList, TheEarlierDueTimeFiresFirst) {
  TimerList list;
  list.add(TimePoint{3s}, "late", [] {});
  list.add(TimePoint{1s}, "early", [] {});
  EXPECT_EQ(list.nextDeadline(), TimePoint{1s});
  EXPECT_EQ(due(list, TimePoint{10s}), (std::vector<std::string>{"early", "late"}));
}

TEST(TimerList, WhatIsNotDueStays) {
  TimerList list;
  list.add(TimePoint{2s}, "tested", [] {});
  EXPECT_TRUE(due(list, TimePoint{2s - 1ns}).empty());
  EXPECT_EQ(due(list, TimePoint{2s}), std::vector<std::string>{"tested"});
}

TEST(TimerList, AnActionMayInvalidateAnotherOneThatIsDue) {
  TimerList list;
  std::shared_ptr<Timer> second;
  list.add(TimePoint{1s}, "first", [&] { second->invalidate(); });
  second = list.add(TimePoint{1s}, "second", [] {});
  EXPECT_EQ(due(list, TimePoint{1s}), std::vector<std::string>{"first"});
}

TEST(TimerList, WhatAnActionAddsIsForALaterTurn) {
  TimerList list;
  list.add(TimePoint{1s}, "first", [&] { list.add(TimePoint{1s}, "added", [] {}); });
  EXPECT_EQ(due(list, TimePoint{1s}), std::vector<std::string>{"first"});
  EXPECT_EQ(due(list, TimePoint{1s}), std::vector<std::string>{"added"});
}

TEST(TimerList, AnInvalidatedTimerLetsGoOfItsActionAtOnce) {
  TimerList list;
  const auto held = std::make_shared<int>(0);
  const auto timer = list.add(TimePoint{1s}, "tested", [held] {});
  timer->invalidate();
  EXPECT_EQ(held.use_count(), 1);
  EXPECT_EQ(list.nextDeadline(), std::nullopt);
}

}  // namespace
}  // namespace fliprugair
