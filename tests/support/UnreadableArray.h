// A batch in the store whose text cannot be had.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>

#include "platform/UnreadValue.h"

namespace fliprugair {

/// An array of seven items whose text can be had `readings` times and then no more. Any thread.
class UnreadableArray : public UnreadValue::Source {
 public:
  explicit UnreadableArray(int readings = 0) : left_(readings) {}

  std::string text() const override {
    if (left_-- <= 0) throw std::runtime_error("a record cannot be read");
    return "[1,2,3,4,5,6,7]";
  }
  std::size_t size() const override { return 7; }

  static Value value(int readings = 0) {
    const auto read = [](std::string_view) { return Value(Array{1, 2, 3, 4, 5, 6, 7}); };
    return UnreadValue::of(std::make_shared<const UnreadableArray>(readings), read, 1);
  }

 private:
  mutable std::atomic<int> left_;
};

}  // namespace fliprugair
