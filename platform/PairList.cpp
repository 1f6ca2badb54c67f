#include "platform/PairList.h"

#include <algorithm>
#include <utility>

#include "platform/Nesting.h"

namespace fliprugair {

PairList& PairList::add(Literal key, Value&& value) {
  ended_ = ended_ || value.isNull();
  return ended_ ? *this : set(key, std::move(value));
}

PairList& PairList::set(Literal key, Value&& value) {
  depth_ = std::max(depth_, depthAround(value));
  entries_.push_back(Dictionary::Entry(key.text(), nullptr, std::move(value), entries_.size()));
  return *this;
}

Dictionary PairList::dictionary() { return Dictionary::of(std::exchange(entries_, {}), depth_); }

}  // namespace fliprugair
