#include "platform/sqlite/RowMirror.h"
#include "sqlite/StoreTest.h"

namespace fliprugair {
namespace {

std::vector<RowChange> staged(RowMirror& mirror, const std::string& name, const Value& value) {
  std::vector<RowChange> changes;
  mirror.stage({{&name, value}}, changes);
  return changes;
}

TEST(ARowMirror, RemovesTheItemThatAnArrayLostInFrontAndWritesNoOtherAnew) {
  std::vector<Value> items;
  for (int number = 0; number < 5; ++number) items.push_back(record(number));
  RowMirror mirror;
  staged(mirror, "queue", Array(items));
  items.erase(items.begin());
  const auto changes = staged(mirror, "queue", Array(items));
  ASSERT_EQ(changes.size(), 1U);
  EXPECT_TRUE(std::holds_alternative<RowRange>(changes.front()));
}

TEST(ARowMirror, NumbersANewRowBeyondAllThatThereAre) {
  RowMirror mirror({Row{7, 0, 1, "key", 1}});
  const auto changes = staged(mirror, "other", 2);
  ASSERT_EQ(changes.size(), 1U);
  EXPECT_GT(std::get<Row>(changes.front()).id, 7);
}

}  // namespace
}  // namespace fliprugair
