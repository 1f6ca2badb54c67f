#include <gtest/gtest.h>

#include "tools/controlhost/ValueCount.h"

namespace fliprugair::controlhost {

namespace {

TEST(ValueCount, ValuesWithinOthersCount) {
  const std::string text = R"({"a": [1, "two", {"b": null}], "c": {}})";  // 7 of them
  EXPECT_TRUE(holdsMoreValuesThan(6, text));
  EXPECT_FALSE(holdsMoreValuesThan(7, text));
}

TEST(ValueCount, WhatIsNoJSONHoldsThoseBeforeItsFault) {
  EXPECT_FALSE(holdsMoreValuesThan(0, ""));
  EXPECT_FALSE(holdsMoreValuesThan(2, "[1,}"));
  EXPECT_TRUE(holdsMoreValuesThan(1, "[1,}"));
}

}  // namespace

}  // namespace fliprugair::controlhost
