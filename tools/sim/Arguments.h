#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/collaborators/EventStandardParameters.h"
#include "tools/sim/Command.h"

namespace fliprugair::sim {

/// The arguments of one call, read with the kinds that the method wants. Throws CommandError for others.
class Arguments {
 public:
  Arguments(std::string_view selector, const Array& values) : selector_(selector), values_(values) {}

  std::size_t size() const { return values_.size(); }

  Text text(std::size_t index) const;
  bool boolean(std::size_t index) const;
  float real(std::size_t index) const;
  int code(std::size_t index) const;
  /// An object without "$url" or "$standard", or null.
  Value dictionary(std::size_t index) const;
  /// A dictionary, an array or null.
  Value payload(std::size_t index) const;
  URL url(std::size_t index) const;
  std::unique_ptr<EventStandardParameters> standard(std::size_t index) const;
  /// Whether the argument is true; null is the only other one.
  bool trueOrNull(std::size_t index, std::string_view wanted) const;
  // For the adapters, which take any argument.
  AnyObject any(std::size_t index) const;
  bool anyBoolean(std::size_t index) const;
  float anyReal(std::size_t index) const;

  [[noreturn]] void fail(std::size_t index, std::string_view wanted) const;

 private:
  /// What stands under `marker` when the argument is an object of that marker alone.
  std::optional<Value> marked(std::size_t index, std::string_view marker) const;
  bool isMarked(std::size_t index) const;

  std::string_view selector_;
  const Array& values_;
};

}  // namespace fliprugair::sim
