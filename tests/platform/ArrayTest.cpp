#include <random>
#include <thread>

#include "Fliprugair/platform/Value.h"

namespace fliprugair {
namespace {

Array upTo(std::int64_t count) {
  Array list;
  for (std::int64_t number = 0; number < count; ++number) list = list.appending(number);
  return list;
}

TEST(Array, KeepsTheOrderOfItsItemsHoweverManyThereAre) {
  for (const std::int64_t count : {0, 1, 31, 32, 33, 63, 64, 65, 127, 128, 129, 1000, 10000}) {
    const Array appended = upTo(count);
    std::vector<Value> items;
    for (std::int64_t number = 0; number < count; ++number) items.emplace_back(number);
    const Array made(items);
    ASSERT_EQ(appended.size(), static_cast<std::size_t>(count));
    EXPECT_TRUE(appended == made) << count;
    std::int64_t expected = 0;
    for (const Value& item : appended) EXPECT_EQ(item, Value(expected++));
    EXPECT_EQ(expected, count);
  }
}

TEST(Array, AnOlderCopyIsUnchangedByAppending) {
  std::vector<Array> versions{Array()};
  for (std::int64_t number = 0; number < 300; ++number) versions.push_back(versions.back().appending(number));
  for (std::size_t length = 0; length < versions.size(); ++length) {
    ASSERT_EQ(versions[length].size(), length);
    for (std::size_t index = 0; index < length; ++index) {
      ASSERT_EQ(versions[length][index], Value(index));
    }
  }
}

TEST(Array, CanBeContinuedInTwoWays) {
  const Array common = upTo(100);
  const Array left = common.appending("left");
  const Array right = common.appending("right");
  EXPECT_EQ(left[100], Value("left"));
  EXPECT_EQ(right[100], Value("right"));
  EXPECT_EQ(common.size(), 100U);
}

TEST(Array, OfAMillionItemsIsMadeInOneGo) {
  const std::size_t count = 1'000'000;
  const Array list(std::vector<Value>(count, Value(true)));
  ASSERT_EQ(list.size(), count);
  EXPECT_EQ(list[count - 1], Value(true));
  EXPECT_EQ(list.appending(false)[count], Value(false));
}

TEST(Array, CanBeContinuedByManyThreadsAtOnce) {
  for (const std::int64_t count : {0, 1, 5, 60, 64, 100}) {
    const Array common = upTo(count);
    std::vector<Array> continued(4);
    std::vector<std::thread> threads;
    for (Array& each : continued) {
      threads.emplace_back([&each, &common, own = std::to_string(threads.size())] {
        each = common;
        for (int round = 0; round < 100; ++round) each = each.appending(own);
      });
    }
    for (std::thread& thread : threads) thread.join();
    for (std::size_t index = 0; index < continued.size(); ++index) {
      ASSERT_EQ(continued[index].size(), static_cast<std::size_t>(count) + 100);
      EXPECT_EQ(continued[index].sharedPrefix(common), common.size());
      for (auto item = common.size(); item < continued[index].size(); ++item) {
        EXPECT_EQ(continued[index][item], Value(std::to_string(index)));
      }
    }
  }
}

TEST(Array, FindsTextAndNothingElse) {
  const Array list{1, "location", Array{"inner"}, Value(), ""};
  EXPECT_TRUE(list.containsText("location"));
  EXPECT_TRUE(list.containsText(""));
  EXPECT_FALSE(list.containsText("inner"));
  EXPECT_FALSE(list.containsText("1"));
  EXPECT_FALSE(Array().containsText(""));
  EXPECT_TRUE(upTo(10000).appending("last").containsText("last"));
}

TEST(Array, SharesWhatItWasAppendedTo) {
  for (const std::int64_t count : {0, 1, 63, 64, 65, 1000}) {
    const Array before = upTo(count).appending("text");
    const Array after = before.appending("more").appending("and more");
    EXPECT_EQ(after.sharedPrefix(before), before.size()) << count;
    EXPECT_EQ(before.sharedPrefix(after), before.size()) << count;
    EXPECT_EQ(after.sharedPrefix(after), after.size()) << count;
  }
}

TEST(Array, SharesNoMoreThanTheSameObjects) {
  const Value common = Array{"common"};
  const Array left{common, 1, "a", Array{"b"}};
  const Array right{common, 1, "a", Array{"b"}};
  EXPECT_EQ(left.sharedPrefix(right), 3U);  // an equal list is another object
  EXPECT_EQ(left.sharedPrefix(Array()), 0U);
  EXPECT_EQ(Array().sharedPrefix(left), 0U);
  EXPECT_EQ(Array().sharedPrefix(Array()), 0U);
}

TEST(Array, SharedPrefixAgreesWithALookAtEachItem) {
  std::mt19937 random(3);
  const std::vector<Value> pool{"a", std::string(100, 'b'), 1, 2, Array{1}, Value()};
  for (int round = 0; round < 500; ++round) {
    Array left;
    const std::size_t common = random() % 150;
    for (std::size_t index = 0; index < common; ++index) left = left.appending(pool[random() % pool.size()]);
    Array right = left;
    if (random() % 2 == 0) {
      std::vector<Value> copied;
      for (const Value& item : left) copied.push_back(item);
      right = Array(std::move(copied));
    }
    for (std::size_t more = random() % 100; more > 0; --more) left = left.appending(pool[random() % pool.size()]);
    for (std::size_t more = random() % 100; more > 0; --more) right = right.appending(pool[random() % pool.size()]);
    std::size_t expected = 0;
    while (expected < std::min(left.size(), right.size()) && left[expected].isSameObject(right[expected])) ++expected;
    ASSERT_EQ(left.sharedPrefix(right), expected);
    ASSERT_EQ(right.sharedPrefix(left), expected);
  }
}

}  // namespace
}  // namespace fliprugair
