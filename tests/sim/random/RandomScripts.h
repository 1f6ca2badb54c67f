#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace fliprugair::sim {

/// What did not hold, and the shortest script found for which it does not.
struct ScriptFailure {
  std::string what;
  std::vector<std::string> script;

  /// Both, for a person.
  std::string text() const;
};

/// Runs `length` random commands on a simulator, each shown to `show` before it runs; nothing when all held that must
/// hold.
std::optional<ScriptFailure> runRandomScript(std::uint64_t seed, std::size_t length,
                                             const std::function<void(const std::string& command)>& show = {});

/// Writes to `print`, line by line, `length` random commands, each followed by the events that it gives; commands that
/// cannot be understood are left out. Every 25 commands show the whole store and the process-wide values. The commands
/// alone are a script for `fliprugair-sim`, which then gives the same events.
void printRandomScript(std::uint64_t seed, std::size_t length, const std::function<void(const std::string&)>& print);

}  // namespace fliprugair::sim
