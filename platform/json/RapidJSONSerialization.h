#pragma once

#include "Fliprugair/platform/Export.h"
#include "Fliprugair/platform/JSONSerialization.h"

namespace fliprugair {

/// JSON by RapidJSON's streaming reader and writer: no document tree between the text and the values.
class FLIPRUGAIR_EXPORT RapidJSONSerialization final : public JSONSerialization {
 public:
  std::optional<std::string> text(const Value& value, Layout layout = Layout::compact) const override;
  std::optional<Value> value(std::string_view text, std::size_t depth = defaultDepth) const override;
  Value unread(std::string_view text, std::size_t depth) const override;
};

}  // namespace fliprugair
