#include <gtest/gtest.h>

#include <map>
#include <random>

#include "platform/sqlite/RowChanges.h"

namespace fliprugair {
namespace {

RowChange put(std::int64_t id, const Value& value = 1) { return Row{id, 7, id, "", value}; }

std::vector<RowChange> left(std::vector<RowChange> changes) {
  leaveOutUndone(changes);
  return changes;
}

bool isPut(const RowChange& change, std::int64_t id) {
  const auto* row = std::get_if<Row>(&change);
  return row != nullptr && row->id == id;
}

TEST(RowChanges, OfDifferentRowsStayInTheirOrder) {
  const auto changes = left({put(3), RowRange{4, 5}, put(-3), put(1)});
  ASSERT_EQ(changes.size(), 4U);
  EXPECT_TRUE(isPut(changes[0], 3));
  EXPECT_EQ(std::get<RowRange>(changes[1]), (RowRange{4, 5}));
  EXPECT_TRUE(isPut(changes[2], -3));
  EXPECT_TRUE(isPut(changes[3], 1));
}

TEST(RowChanges, OfARowAreItsLast) {
  const auto changes = left({put(1, "old"), put(2), put(1, "new")});
  ASSERT_EQ(changes.size(), 2U);
  EXPECT_TRUE(isPut(changes[0], 2));
  EXPECT_EQ(std::get<Row>(changes[1]).value, Value("new"));
}

TEST(RowChanges, OfRowsThatAreRemovedAreTheirRemoval) {
  const auto changes = left({put(1), put(2), RowRange{2, 2}, put(3), RowRange{1, 3}});
  ASSERT_EQ(changes.size(), 1U);
  EXPECT_EQ(std::get<RowRange>(changes[0]), (RowRange{1, 3}));
}

TEST(RowChanges, OfRowsThatAreRemovedTogetherLaterAreNone) {
  EXPECT_EQ(left({put(1), put(2), RowRange{2, 3}, RowRange{1, 1}, RowRange{4, 4}}).size(), 3U);
  EXPECT_EQ(left({RowRange{1, 4}, RowRange{3, 4}, RowRange{1, 2}}).size(), 2U);
}

TEST(RowChanges, LeadToTheSameRowsWhateverTheyAre) {
  for (unsigned seed = 1; seed <= 300; ++seed) {
    std::minstd_rand random(seed);
    const auto id = [&] { return static_cast<std::int64_t>(random() % 20) - 5; };
    std::vector<RowChange> changes;
    for (int number = 0; number < 40; ++number) {
      const std::int64_t first = id();
      if (random() % 3 == 0) {
        changes.emplace_back(RowRange{first, first + static_cast<std::int64_t>(random() % 6)});
      } else {
        changes.push_back(put(first, number));
      }
    }
    const auto applied = [](const std::vector<RowChange>& all) {
      std::map<std::int64_t, std::int64_t> rows{{0, -1}, {3, -1}, {9, -1}};
      for (const RowChange& change : all) {
        if (const auto* range = std::get_if<RowRange>(&change)) {
          rows.erase(rows.lower_bound(range->first), rows.upper_bound(range->last));
        } else {
          rows[std::get<Row>(change).id] = std::get<Row>(change).value.integerValue();
        }
      }
      return rows;
    };
    const auto fewer = left(changes);
    EXPECT_LT(fewer.size(), changes.size()) << seed;
    EXPECT_EQ(applied(fewer), applied(changes)) << seed;
  }
}

}  // namespace
}  // namespace fliprugair
