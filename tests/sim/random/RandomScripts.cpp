#include "RandomScripts.h"

#include <algorithm>

#include "RandomCommands.h"
#include "WatchedSimulator.h"

namespace fliprugair::sim {

namespace {

using Script = std::vector<std::string>;

/// The same failure is one whose message begins alike: numbers and texts may differ.
std::string kindOf(const std::string& what) { return what.substr(0, what.find(':')); }

/// What does not hold when `script` runs, and after how many commands.
std::pair<std::string, std::size_t> failureOf(const Script& script, std::uint64_t seed) {
  WatchedSimulator simulator(seed);
  for (std::size_t index = 0; index < script.size(); ++index) {
    std::string what = simulator.run(script[index]);
    if (!what.empty()) return {std::move(what), index + 1};
  }
  return {"", script.size()};
}

/// Leaves out what is not needed for the failure, first in large pieces, then command by command.
Script shortened(Script script, std::uint64_t seed, const std::string& what) {
  for (std::size_t piece = std::max<std::size_t>(script.size() / 2, 1); piece > 0; piece /= 2) {
    for (std::size_t begin = 0; begin < script.size();) {
      Script shorter = script;
      const auto first = shorter.begin() + static_cast<std::ptrdiff_t>(begin);
      shorter.erase(first, first + static_cast<std::ptrdiff_t>(std::min(piece, shorter.size() - begin)));
      const auto [found, length] = failureOf(shorter, seed);
      if (kindOf(found) == kindOf(what)) {
        shorter.resize(length);
        script = std::move(shorter);
      } else {
        begin += piece;
      }
    }
  }
  return script;
}

}  // namespace

std::string ScriptFailure::text() const {
  std::string result = what + "\nafter\n";
  for (const std::string& command : script) result += command + "\n";
  return result;
}

std::optional<ScriptFailure> runRandomScript(std::uint64_t seed, std::size_t length,
                                             const std::function<void(const std::string&)>& show) {
  WatchedSimulator simulator(seed);
  RandomCommands commands(seed);
  Script script;
  for (std::size_t index = 0; index < length; ++index) {
    script.push_back(commands.next(simulator));
    if (show) show(script.back());
    const std::string what = simulator.run(script.back());
    if (what.empty()) continue;
    script = shortened(std::move(script), seed, what);
    return ScriptFailure{failureOf(script, seed).first, std::move(script)};
  }
  return std::nullopt;
}

void printRandomScript(std::uint64_t seed, std::size_t length, const std::function<void(const std::string&)>& print) {
  constexpr std::size_t betweenLooks = 25;
  WatchedSimulator watched(seed);  // knows what is pending, but gives itself commands that are not printed
  RandomCommands commands(seed);
  std::vector<std::string> events;
  constexpr std::uint64_t seedOfThePrinted = 1;
  Simulator printed([&](const std::string& event) { events.push_back(event); }, seedOfThePrinted);
  std::uint64_t lines = 0;
  const auto run = [&](const std::string& command) {
    events.clear();
    try {
      printed.run(command, lines + 1);
    } catch (const CommandError&) {
      return;
    }
    ++lines;
    print(command);
    for (const std::string& event : events) print(event);
  };
  for (std::size_t index = 1; index <= length; ++index) {
    const std::string command = commands.next(watched);
    run(command);
    watched.run(command);
    if (index % betweenLooks != 0) continue;
    run(R"({"do":"store","get":"all"})");
    run(R"({"do":"state"})");
  }
}

}  // namespace fliprugair::sim
