// What a call of the tracker costs the host app's thread, with the real store, beside the floor. Both are timed in
// turn, so that what else the machine does falls on both alike.

#include <fstream>

#include "Fliprugair/core/ProcessState.h"
#include "benchmarks/App.h"
#include "benchmarks/Counters.h"

namespace fliprugair::bench {
namespace {

/// Lets `count` batches of one record wait in the network queue.
void fillNetworkQueue(App& app, std::int64_t count) {
  std::vector<std::pair<std::string, Value>> batches;
  batches.reserve(static_cast<std::size_t>(count));
  for (int number = 0; number < count; ++number) {
    batches.emplace_back(std::to_string(600000000 + number) + ".000000", Array{record(number)});
  }
  app.environment->userDefaults().setObject(Dictionary(std::move(batches)), key::networkQueue);
  app.environment->userDefaults().synchronize();
}

/// What this process has handed to the system for writing, in bytes.
double bytesWritten() {
  std::ifstream io("/proc/self/io");
  for (std::string name; io >> name;) {
    double value = 0;
    io >> value;
    if (name == "wchar:") return value;
  }
  return 0;
}

/// trackEvent, with as many batches waiting as the argument says; every 25th call enqueues a batch.
void trackEvent(benchmark::State& state) {
  const TemporaryFolder folder;
  Floor floor(folder.file("floor"));
  App app = launch(folder.file("store"));
  fillNetworkQueue(app, state.range(0));
  Times floorTimes;
  Times allTimes;
  Times enqueueTimes;
  double enqueueBytes = 0;
  int number = 0;
  for (auto _ : state) {
    floorTimes.time([&] { floor.commit(); });
    const bool enqueues = ++number % 25 == 0;
    const double before = enqueues ? bytesWritten() : 0;
    const double seconds = allTimes.time([&] { call(app); });
    state.SetIterationTime(seconds);
    if (!enqueues) continue;
    enqueueTimes.add(seconds);
    enqueueBytes += bytesWritten() - before;
  }
  report(state, floorTimes, allTimes);
  state.counters["enqueue_p50_us"] = enqueueTimes.percentile(50);
  state.counters["enqueue_p99_us"] = enqueueTimes.percentile(99);
  const int batches = number / 25;
  state.counters["enqueue_bytes"] = enqueueBytes / batches;
  app.environment->terminate();
}
BENCHMARK(trackEvent)->Arg(0)->Arg(10000)->UseManualTime()->Iterations(20000)->Unit(benchmark::kMicrosecond);

/// Opening the environment and constructing the tracker with nothing stored, beside opening an empty SQLite file.
void constructEmpty(benchmark::State& state) {
  Times floorTimes;
  Times times;
  for (auto _ : state) {
    const TemporaryFolder folder;
    std::unique_ptr<Floor> floor;
    App app;
    floorTimes.time([&] { floor = std::make_unique<Floor>(folder.file("floor")); });
    state.SetIterationTime(times.time([&] { app = construct(folder.file("store")); }));
    app.environment->terminate();
    app.tracker = nullptr;
  }
  report(state, floorTimes, times);
}
BENCHMARK(constructEmpty)->Name("construct")->UseManualTime()->Iterations(50)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace fliprugair::bench
