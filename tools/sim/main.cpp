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

int runScript(std::istream& script, const std::string& name, std::uint64_t seed) {
  fliprugair::sim::Simulator simulator(writeLine, seed);
  std::string line;
  for (std::uint64_t number = 1; std::getline(script, line); ++number) {
    try {
      simulator.run(line, number);
    } catch (const fliprugair::sim::CommandError& error) {
      std::fflush(stdout);
      std::cerr << "fliprugair-sim: " << name << " line " << number << ": " << error.what() << '\n';
      return notUnderstood;
    }
    std::fflush(stdout);
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app;
  std::string file;
  std::string seedText = "1";
  bool help = false;
  app.set_help_flag();
  app.add_flag("-h,--help", help);
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
  std::uint64_t seed = 0;
  const char* end = seedText.data() + seedText.size();
  if (const auto read = std::from_chars(seedText.data(), end, seed); read.ec != std::errc() || read.ptr != end) {
    std::cerr << "fliprugair-sim: --seed wants a whole number from 0 to " << UINT64_MAX << ", found " << seedText
              << '\n';
    return notUnderstood;
  }
  if (file.empty()) return runScript(std::cin, "standard input", seed);
  std::ifstream script(file);
  if (!script || std::filesystem::is_directory(file)) {
    std::cerr << "fliprugair-sim: cannot read " << file << '\n';
    return notUnderstood;
  }
  return runScript(script, file, seed);
}
