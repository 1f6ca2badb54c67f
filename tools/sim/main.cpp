#include <unistd.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "tools/sim/Help.h"
#include "tools/sim/Simulator.h"

namespace {

constexpr int notUnderstood = 2;

/// One line, and then it is out: a program that drives the tool through pipes waits for it.
void writeLine(const std::string& line) {
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fputc('\n', stdout);
}

enum class Driver { script, person };

constexpr const char* greeting =
    R"(A tracker on a virtual device. Write a command a line and see what happens, to begin with
  {"do":"construct","options":{"marluneAppId":"demo"}}
"help" lists the commands, Ctrl-D ends.
)";

bool isHelp(std::string_view line) {
  const std::size_t begin = line.find_first_not_of(" \t\r");
  return begin != std::string_view::npos && line.substr(begin, line.find_last_not_of(" \t\r") + 1 - begin) == "help";
}

/// A person may make mistakes and ask for help; a script ends at the first line that cannot be understood.
int run(std::istream& lines, const std::string& name, Driver driver, std::uint64_t seed) {
  fliprugair::sim::Simulator simulator(writeLine, seed);
  std::string line;
  for (std::uint64_t number = 1; std::getline(lines, line); ++number) {
    if (driver == Driver::person && isHelp(line)) {
      std::cout << fliprugair::sim::helpText() << std::flush;
      continue;
    }
    const auto say = [&](const std::string& what) {
      std::fflush(stdout);
      std::cerr << "fliprugair-sim: " << name << " line " << number << ": " << what << '\n';
    };
    try {
      const std::string note = simulator.run(line, number);
      if (!note.empty()) say("does nothing: " + note);
    } catch (const fliprugair::sim::CommandError& error) {
      say(error.what());
      if (driver == Driver::script) return notUnderstood;
    }
    std::fflush(stdout);
  }
  return 0;
}

int runStandardInput(std::uint64_t seed) {
  if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0) {
    return run(std::cin, "standard input", Driver::script, seed);
  }
  std::cout << greeting << std::flush;
  return run(std::cin, "terminal", Driver::person, seed);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app;
  std::string file;
  std::string seedText = "1";
  bool help = false;
  bool version = false;
  app.set_help_flag();
  app.add_flag("-h,--help", help);
  app.add_flag("--version", version);
  app.add_option("--seed", seedText);
  app.add_option("FILE", file);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    std::cerr << "fliprugair-sim: " << error.what() << "; see fliprugair-sim --help\n";
    return notUnderstood;
  }
  if (help) {
    std::cout << fliprugair::sim::helpText();
    return 0;
  }
  if (version) {
    std::cout << "fliprugair-sim " FLIPRUGAIR_SIM_VERSION "\n";
    return 0;
  }
  std::uint64_t seed = 0;
  const char* end = seedText.data() + seedText.size();
  if (const auto read = std::from_chars(seedText.data(), end, seed); read.ec != std::errc() || read.ptr != end) {
    std::cerr << "fliprugair-sim: --seed wants a whole number from 0 to " << UINT64_MAX << ", found " << seedText
              << '\n';
    return notUnderstood;
  }
  if (file.empty()) return runStandardInput(seed);
  std::ifstream script(file);
  if (!script || std::filesystem::is_directory(file)) {
    std::cerr << "fliprugair-sim: cannot read " << file << '\n';
    return notUnderstood;
  }
  return run(script, file, Driver::script, seed);
}
