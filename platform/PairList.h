#pragma once

#include <cstddef>
#include <vector>

#include "Fliprugair/platform/Export.h"
#include "Fliprugair/platform/Value.h"
#include "platform/Literal.h"

namespace fliprugair {

/// Builds a dictionary from an ordered list of pairs with different keys that ends at the first absent value: that pair
/// and every later one are left out. All ordered pair lists of the system are made with it or, when they are made to be
/// sent, with PairText, because what is missing and in which order the rest stands are part of the formats.
class FLIPRUGAIR_EXPORT PairList {
 public:
  /// With room for so many, those of an event unless told; a longer list grows.
  explicit PairList(std::size_t pairs = 12) { entries_.reserve(pairs); }

  PairList& add(Literal key, Value&& value);
  PairList& add(Literal key, const Value& value) { return add(key, Value(value)); }

  /// Adds a pair behind the list, whether that has ended or not.
  PairList& set(Literal key, Value&& value);
  PairList& set(Literal key, const Value& value) { return set(key, Value(value)); }

  /// What the list holds. Pairs can be added behind it with `Dictionary::setting`, too.
  Dictionary dictionary();

 private:
  std::vector<Dictionary::Entry> entries_;
  std::size_t depth_ = 1;
  bool ended_ = false;
};

}  // namespace fliprugair
