// Runs random scripts for as long as one likes: fliprugair_random_scripts --seed N --scripts M [--length L] [--show].
// With --print it checks nothing, but writes the scripts and their events: what scripts/same-behaviour compares.

#include <CLI/CLI.hpp>
#include <iostream>

#include "RandomScripts.h"

int main(int argc, char** argv) {
  CLI::App app("Runs random scripts on the simulator and says what did not hold");
  std::uint64_t seed = 1;
  std::uint64_t scripts = 1000;
  std::size_t length = 200;
  app.add_option("--seed", seed, "the seed of the first script; each further one has the next number");
  app.add_option("--scripts", scripts, "how many scripts to run");
  app.add_option("--length", length, "commands in each");
  bool show = false;
  app.add_flag("--show", show, "write each command before it runs, so that a crash leaves its script behind");
  bool print = false;
  app.add_flag("--print", print, "write each script as \"# seed N\" and its commands, each followed by its events");
  CLI11_PARSE(app, argc, argv);
  if (print) {
    for (std::uint64_t number = 0; number < scripts; ++number) {
      std::cout << "# seed " << seed + number << '\n';
      fliprugair::sim::printRandomScript(seed + number, length,
                                         [](const std::string& line) { std::cout << line << '\n'; });
    }
    return 0;
  }
  int failures = 0;
  for (std::uint64_t number = 0; number < scripts; ++number) {
    if (number % 100 == 0) std::cerr << "from seed " << seed + number << '\n';
    const auto showCommand = [](const std::string& command) { std::cout << command << std::endl; };
    const auto failure = fliprugair::sim::runRandomScript(
        seed + number, length, show ? showCommand : std::function<void(const std::string&)>());
    if (!failure) continue;
    ++failures;
    std::cout << "seed " << seed + number << ": " << failure->text() << std::endl;
  }
  std::cout << scripts << " scripts of " << length << " commands, " << failures << " failures\n";
  return failures == 0 ? 0 : 1;
}
