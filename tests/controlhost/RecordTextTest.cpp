#include <gtest/gtest.h>

#include "tools/controlhost/RecordText.h"

namespace fliprugair::controlhost {

namespace {

TEST(RecordText, IsEveryLetterOfTheRecordAndNoneOfItsNeighbours) {
  constexpr std::string_view batch =
      R"( [ {"a":[1,2],"b":"],\"}"} ,{"n":12345678901234567890123, "n":1.10},
            "\\",7, [] ] )";
  EXPECT_EQ(recordText(batch, 0), R"({"a":[1,2],"b":"],\"}"})");
  EXPECT_EQ(recordText(batch, 1), R"({"n":12345678901234567890123, "n":1.10})");
  EXPECT_EQ(recordText(batch, 2), R"("\\")");
  EXPECT_EQ(recordText(batch, 3), "7");
  EXPECT_EQ(recordText(batch, 4), "[]");
}

TEST(RecordText, IsEmptyWhereThereIsNoRecord) {
  EXPECT_EQ(recordText("[1,2]", 2), "");
  EXPECT_EQ(recordText("[]", 0), "");
  EXPECT_EQ(recordText("", 0), "");
}

}  // namespace

}  // namespace fliprugair::controlhost
