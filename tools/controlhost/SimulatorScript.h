#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Fliprugair/platform/Value.h"

namespace fliprugair::controlhost {

/// Lines for fliprugair-sim while they are put together.
class SimulatorScript {
 public:
  /// `{"do":COMMAND, ...}`, with the members of a dictionary behind it.
  SimulatorScript& add(std::string_view command, const Value& members = Value());
  SimulatorScript& call(std::string_view selector, Array arguments = {});
  /// Names within the tracker's part of the store, as "deviceId". Writes no line when both are empty.
  SimulatorScript& store(const Dictionary& set, const std::vector<std::string>& removed = {});

  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

/// The options with which a tracker is made that sends under the identifiers and the version of `record`.
Dictionary optionsFor(const Dictionary& record);

/// What the store holds of them, which goes before the options.
Dictionary identityOf(const Dictionary& record);

/// The fields of a virtual device whose name and version together are `system`, as "iOS 9.3".
Dictionary systemFields(const std::string& system);

/// The number with which the version in `system` begins.
double systemVersion(const std::string& system);

}  // namespace fliprugair::controlhost
