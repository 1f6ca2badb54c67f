#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/json/RapidJSONSerialization.h"
#include "tools/sim/Simulator.h"

namespace {

/// Hours of virtual time with a poll a second are asked for rightly, and take hours.
bool takesLong(std::string_view line) {
  constexpr double longest = 60;  // seconds
  const auto value = fliprugair::RapidJSONSerialization().value(line);
  const auto members = value.value_or(fliprugair::Value()).dictionary();
  return members["do"] == fliprugair::Value("advance") && !(members["seconds"].realValue() <= longest);
}

}  // namespace

/// A script for the simulator, and with it whatever a store, a control host and a host app can hold against a tracker.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::uint64_t mostLines = 100;
  fliprugair::RapidJSONSerialization json;
  fliprugair::sim::Simulator simulator(
      [&](const std::string& line) {
        if (!json.value(line)) std::abort();  // an event that is none
      },
      1);
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  for (std::uint64_t number = 1; !rest.empty() && number <= mostLines; ++number) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(line.size() < rest.size() ? line.size() + 1 : line.size());
    if (takesLong(line)) continue;
    try {
      simulator.run(line, number);
    } catch (const fliprugair::sim::CommandError&) {
      // The script ends for who runs it; what comes next is tried all the same.
    }
  }
  return 0;
}
