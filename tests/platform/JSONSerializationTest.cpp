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

}  // namespace
}  // namespace fliprugair
