#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Fliprugair/platform/Value.h"

namespace fliprugair {

/// Builds a dictionary from an ordered list of pairs that ends at the first absent value: that pair and every later one
/// are left out. All ordered pair lists of the system are made with it, because what is missing and in which order
/// the rest stands are part of the formats.
class PairList {
 public:
  PairList& add(std::string_view key, Value value) {
    ended_ = ended_ || value.isNull();
    if (!ended_) pairs_.emplace_back(key, std::move(value));
    return *this;
  }

  /// What the list holds. Pairs can be added behind it with `Dictionary::setting` whether the list ended early or not.
  Dictionary dictionary() { return Dictionary(std::exchange(pairs_, {})); }

 private:
  std::vector<std::pair<std::string, Value>> pairs_;
  bool ended_ = false;
};

}  // namespace fliprugair
