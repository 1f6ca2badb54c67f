#include "platform/PairList.h"

namespace fliprugair {
namespace {

TEST(PairList, EndsAtTheFirstAbsentValue) {
  const Dictionary list = PairList().add("a", 1).add("b", nullptr).add("c", 3).dictionary();
  EXPECT_EQ(list, Value({{"a", 1}}).dictionary());
  EXPECT_TRUE(PairList().add("a", Value()).add("b", 2).dictionary().empty());
  EXPECT_TRUE(PairList().dictionary().empty());
}

TEST(PairList, KeepsWhatIsPresentButEmpty) {
  const Dictionary list = PairList().add("text", "").add("zero", 0).add("no", false).add("list", Array()).dictionary();
  EXPECT_EQ(list.size(), 4U);
}

TEST(PairList, CanBeContinuedBehindItsEnd) {
  const Dictionary list = PairList().add("a", 1).add("b", nullptr).dictionary().setting("c", 3);
  EXPECT_EQ(list, Value({{"a", 1}, {"c", 3}}).dictionary());
}

}  // namespace
}  // namespace fliprugair
