#include <gtest/gtest.h>

#include "platform/Counted.h"

namespace fliprugair {
namespace {

TEST(Counted, OneThingAloneIsNamedInTheSingular) {
  EXPECT_EQ(counted(0, "record"), "0 records");
  EXPECT_EQ(counted(1, "record"), "1 record");
  EXPECT_EQ(counted(2, "record"), "2 records");
}

}  // namespace
}  // namespace fliprugair
