#pragma once

#include "Fliprugair/platform/Text.h"

namespace fliprugair {

/// A URL object, or none: the platform's type for what a host app was opened with. The text is kept as it was given.
class URL {
 public:
  URL() = default;
  URL(std::nullptr_t) {}
  explicit URL(Text absoluteString) : absoluteString_(std::move(absoluteString)) {}

  /// Null when this is no URL.
  const Value& absoluteString() const { return absoluteString_.value(); }

 private:
  Text absoluteString_;
};

}  // namespace fliprugair
