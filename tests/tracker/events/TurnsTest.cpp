#include "Fliprugair/events/Turns.h"

namespace fliprugair {
namespace {

TEST(Turns, LetTheFirstWorkAndTheOthersLeaveTheirWishes) {
  Turns<int> turns;
  EXPECT_TRUE(turns.begin(1));
  EXPECT_FALSE(turns.begin(2));
  EXPECT_FALSE(turns.begin(3));
}

TEST(Turns, GiveTheWishesThatWereLeftInTheirOrder) {
  Turns<int> turns;
  turns.begin(1);
  turns.begin(2);
  turns.begin(3);
  EXPECT_EQ(turns.next(), 2);
  EXPECT_FALSE(turns.begin(4));
  EXPECT_EQ(turns.next(), 3);
  EXPECT_EQ(turns.next(), 4);
  EXPECT_EQ(turns.next(), std::nullopt);
}

TEST(Turns, BeginAnewWhenNoWishIsLeft) {
  Turns<int> turns;
  turns.begin(1);
  EXPECT_EQ(turns.next(), std::nullopt);
  EXPECT_TRUE(turns.begin(2));
}

}  // namespace
}  // namespace fliprugair
