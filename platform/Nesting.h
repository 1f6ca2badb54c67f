#pragma once

#include <cstddef>

#include "Fliprugair/platform/Value.h"

namespace fliprugair {

/// How deep whatever holds `inner` is at least. What is too deep to be held is taken out of it.
inline std::size_t depthAround(Value& inner) {
  if (!inner.isArray() && !inner.isDictionary()) return 1;
  const std::size_t depth = inner.depth() + 1;
  if (depth > Value::deepest) inner = Value();
  return depth > Value::deepest ? Value::deepest + 1 : depth;
}

}  // namespace fliprugair
