#include "benchmarks/Counters.h"

#include <string>

namespace fliprugair::bench {

void report(benchmark::State& state, Times& floor, Times& measured) {
  for (const int percent : {50, 99}) {
    const std::string suffix = "_p" + std::to_string(percent) + "_us";
    state.counters["floor" + suffix] = floor.percentile(percent);
    state.counters["measured" + suffix] = measured.percentile(percent);
    state.counters["ratio_p" + std::to_string(percent)] = measured.percentile(percent) / floor.percentile(percent);
  }
}

}  // namespace fliprugair::bench
