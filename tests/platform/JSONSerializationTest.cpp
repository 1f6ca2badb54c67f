#include <gtest/gtest.h>

#include <string>

#include "Fliprugair/platform/JSONSerialization.h"

namespace fliprugair {
namespace {

/// Has a text for no value.
class Speechless final : public JSONSerialization {
 public:
  std::optional<std::string> text(const Value&, Layout) const override { return std::nullopt; }
  std::optional<Value> value(std::string_view, std::size_t) const override { return std::nullopt; }
};

TEST(JSONSerialization, WritesNullWhenThereIsNoTextAtAll) { EXPECT_EQ(Speechless().textOfAny("text"), "null"); }

/// Reads everything as a list of its text.
class Listing final : public JSONSerialization {
 public:
  std::optional<std::string> text(const Value&, Layout) const override { return std::nullopt; }
  std::optional<Value> value(std::string_view text, std::size_t) const override { return Array{text}; }
};

TEST(JSONSerialization, ReadsAtOnceWhereNobodySaysOtherwise) {
  EXPECT_EQ(Listing().unread("{\"a\":1}", 1), Value(Array{"{\"a\":1}"}));
  EXPECT_EQ(Speechless().unread("{\"a\":1}", 1), Value());
}

}  // namespace
}  // namespace fliprugair
