#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "platform/sqlite/RowNumbers.h"

namespace fliprugair {
namespace {

RowNumbers numbers(const std::vector<std::int64_t>& ids) {
  RowNumbers numbers;
  for (const std::int64_t id : ids) numbers.add(id);
  return numbers;
}

std::vector<std::int64_t> listed(const RowNumbers& numbers) {
  std::vector<std::int64_t> ids;
  for (const RowRange& range : numbers.ranges()) {
    for (std::int64_t id = range.first; id <= range.last; ++id) ids.push_back(id);
  }
  return ids;
}

std::vector<std::int64_t> removedBy(const std::vector<RowChange>& changes) {
  std::vector<std::int64_t> ids;
  for (const RowChange& change : changes) {
    const auto& range = std::get<RowRange>(change);
    for (std::int64_t id = range.first; id <= range.last; ++id) ids.push_back(id);
  }
  return ids;
}

using Ids = std::vector<std::int64_t>;
using Ranges = std::vector<RowRange>;

TEST(RowNumbersOfAnArray, AreNoneAtFirst) {
  const RowNumbers none;
  EXPECT_TRUE(none.empty());
  EXPECT_EQ(none.size(), 0U);
  EXPECT_TRUE(none.ranges().empty());
}

TEST(RowNumbersOfAnArray, StandTogetherWhereTheyAreNeighbours) {
  const RowNumbers some = numbers({3, 4, 5, 7, 9, 10});
  EXPECT_EQ(some.ranges(), (Ranges{{3, 5}, {7, 7}, {9, 10}}));
  EXPECT_EQ(listed(some), (Ids{3, 4, 5, 7, 9, 10}));
  EXPECT_EQ(some.size(), 6U);
  EXPECT_FALSE(some.empty());
}

TEST(RowNumbersOfAnArray, AreEqualWhenTheyAreTheSameNumbers) {
  EXPECT_EQ(numbers({1, 2, 4}), numbers({1, 2, 4}));
  EXPECT_FALSE(numbers({1, 2, 4}) == numbers({1, 2, 5}));
  EXPECT_FALSE(numbers({1, 2, 4}) == numbers({1, 2}));
}

struct Erasure {
  const char* name;
  std::size_t begin;
  std::size_t end;
  Ids removed;
  Ranges left;
  std::size_t changes;

  friend void PrintTo(const Erasure& erasure, std::ostream* out) { *out << erasure.name; }
};

/// Of the rows 3, 4, 5, 7, 9, 10.
class ErasedRowNumbers : public testing::TestWithParam<Erasure> {};

TEST_P(ErasedRowNumbers, AreHandedOnAndTheOthersStay) {
  RowNumbers some = numbers({3, 4, 5, 7, 9, 10});
  std::vector<RowChange> changes;
  some.erase(GetParam().begin, GetParam().end, changes);
  EXPECT_EQ(removedBy(changes), GetParam().removed);
  EXPECT_EQ(changes.size(), GetParam().changes);
  EXPECT_EQ(some.ranges(), GetParam().left);
  EXPECT_EQ(some.size(), 6 - GetParam().removed.size());
}

INSTANTIATE_TEST_SUITE_P(Places, ErasedRowNumbers,
                         testing::Values(Erasure{"none", 2, 2, {}, {{3, 5}, {7, 7}, {9, 10}}, 0},
                                         Erasure{"first", 0, 1, {3}, {{4, 5}, {7, 7}, {9, 10}}, 1},
                                         Erasure{"middleOfARange", 1, 2, {4}, {{3, 3}, {5, 5}, {7, 7}, {9, 10}}, 1},
                                         Erasure{"endOfARange", 2, 3, {5}, {{3, 4}, {7, 7}, {9, 10}}, 1},
                                         Erasure{"aRange", 3, 4, {7}, {{3, 5}, {9, 10}}, 1},
                                         Erasure{"acrossRanges", 1, 5, {4, 5, 7, 9}, {{3, 3}, {10, 10}}, 3},
                                         Erasure{"last", 5, 6, {10}, {{3, 5}, {7, 7}, {9, 9}}, 1},
                                         Erasure{"all", 0, 6, {3, 4, 5, 7, 9, 10}, {}, 3}),
                         [](const auto& parameter) { return parameter.param.name; });

TEST(RowNumbersOfAnArray, AreAppendedToWhatIsToBeChangedAlready) {
  std::vector<RowChange> changes{RowRange{1, 1}};
  RowNumbers some = numbers({3});
  some.erase(0, 1, changes);
  EXPECT_EQ(removedBy(changes), (Ids{1, 3}));
  EXPECT_TRUE(some.empty());
}

TEST(RowNumbersOfAnArray, AreFollowedByThoseOfOthersWhateverTheyAre) {
  RowNumbers some = numbers({7, 8});
  some.append(numbers({2, 3, 5}));
  some.append(RowNumbers());
  EXPECT_EQ(listed(some), (Ids{7, 8, 2, 3, 5}));
  EXPECT_EQ(some.size(), 5U);
  std::vector<RowChange> changes;
  some.erase(1, 3, changes);
  EXPECT_EQ(removedBy(changes), (Ids{8, 2}));
  EXPECT_EQ(listed(some), (Ids{7, 3, 5}));
}

TEST(RowNumbersOfAnArray, GoOnBehindWhatWasErased) {
  RowNumbers some = numbers({3, 4});
  std::vector<RowChange> changes;
  some.erase(1, 2, changes);
  some.add(5);
  EXPECT_EQ(listed(some), (Ids{3, 5}));
  EXPECT_EQ(some, numbers({3, 5}));
}

TEST(RowNumbersOfAnArray, AreThoseOfAListAfterAnyErasures) {
  std::mt19937 random(7);
  for (int round = 0; round < 200; ++round) {
    Ids expected;
    RowNumbers some;
    std::int64_t next = 1;
    for (int step = 0; step < 20; ++step) {
      for (std::size_t count = random() % 6; count > 0; --count) {
        next += 1 + (random() % 3 == 0 ? 1 : 0);
        expected.push_back(next);
        some.add(next);
      }
      const std::size_t begin = random() % (expected.size() + 1);
      const std::size_t end = begin + random() % (expected.size() - begin + 1) / 2;
      const auto from = expected.begin() + static_cast<std::ptrdiff_t>(begin);
      const auto to = expected.begin() + static_cast<std::ptrdiff_t>(end);
      std::vector<RowChange> changes;
      some.erase(begin, end, changes);
      ASSERT_EQ(removedBy(changes), Ids(from, to)) << round;
      expected.erase(from, to);
      ASSERT_EQ(listed(some), expected) << round;
      ASSERT_EQ(some.size(), expected.size()) << round;
      ASSERT_EQ(some, numbers(expected)) << round << ": neighbours that became so are not one range";
    }
  }
}

}  // namespace
}  // namespace fliprugair
