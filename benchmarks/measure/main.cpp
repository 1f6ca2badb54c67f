// fliprugair_measure: one figure in a process of its own. ./bench runs it; what it prints is for there.

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "benchmarks/measure/Figures.h"

namespace {

using namespace fliprugair::bench;

using Arguments = std::vector<std::string>;

struct Figure {
  std::size_t arguments;
  std::function<void(const Arguments&)> measure;
};

const std::map<std::string, Figure>& figures() {
  static const std::map<std::string, Figure> all{
      {"calls-virtual", {1, [](const Arguments& given) { callsOnVirtualDevice(std::stoll(given[0])); }}},
      {"calls-store", {2, [](const Arguments& given) { callsWithStore(std::stoll(given[0]), given[1]); }}},
      {"calls-floor", {2, [](const Arguments& given) { commitsAlone(std::stoll(given[0]), given[1]); }}},
      {"commits", {3, [](const Arguments& given) { callsBesideCommits(std::stoll(given[0]), given[1], given[2]); }}},
      {"fill", {2, [](const Arguments& given) { fill(std::stoll(given[0]), given[1]); }}},
      {"start", {1, [](const Arguments& given) { start(given[0]); }}},
      {"memory-waiting", {1, [](const Arguments& given) { memoryWaiting(given[0]); }}},
      {"memory-idle", {1, [](const Arguments& given) { memoryIdle(given[0]); }}},
      {"memory-program", {0, [](const Arguments& /*given*/) { memoryOfProgram(); }}},
      {"memory-libraries", {1, [](const Arguments& given) { memoryOfLibraries(given[0]); }}},
      {"resend", {2, [](const Arguments& given) { resend(std::stoll(given[0]), given[1]); }}},
      {"post", {1, [](const Arguments& given) { postBodies(given[0]); }}},
      {"wire", {3, [](const Arguments& given) { wire(given[0] == "gzip", std::stoll(given[1]), given[2]); }}},
  };
  return all;
}

}  // namespace

int main(int argc, char** argv) {
  const Arguments given(argv + (argc > 1 ? 2 : 1), argv + argc);
  const auto figure = argc > 1 ? figures().find(argv[1]) : figures().end();
  if (figure == figures().end() || given.size() != figure->second.arguments) {
    std::fprintf(stderr, "fliprugair_measure is run by ./bench\n");
    return EXIT_FAILURE;
  }
  figure->second.measure(given);
}
