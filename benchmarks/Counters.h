#pragma once

#include <benchmark/benchmark.h>

#include "benchmarks/Support.h"

namespace fliprugair::bench {

/// The median and the 99th percentile of both, and their ratios, as counters.
void report(benchmark::State& state, Times& floor, Times& measured);

}  // namespace fliprugair::bench
