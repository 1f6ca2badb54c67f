#include <cstdio>

#include "Fliprugair/events/BatchQueue.h"
#include "benchmarks/App.h"
#include "benchmarks/Support.h"
#include "benchmarks/measure/Figures.h"
#include "benchmarks/measure/Sink.h"

namespace fliprugair::bench {

namespace {

void print(const char* name, Times& times) {
  for (const double percent : {50.0, 99.0, 99.99})
    std::printf("%s_p%g %.3f\n", name, percent, times.percentile(percent));
}

/// Those that no batch has taken along yet.
Array records(const App& app) { return app.environment->userDefaults().objectForKey(key::batchEventQueue).array(); }

/// The newest record as it is stored.
std::string newestRecord(const App& app) {
  const Array waiting = records(app);
  require(!waiting.empty(), "the newest record");
  return textOf(waiting[waiting.size() - 1]);
}

}  // namespace

void callsBesideCommits(std::int64_t calls, const std::string& file, const std::string& floorFile) {
  const Sink sink(Sink::Manner::answers);
  const App app = install(file, sink.hostname());
  call(app);
  Floor floor(floorFile, newestRecord(app));
  Times floorTimes;
  Times callTimes;
  Times fillingTimes;
  Times otherTimes;
  const std::uint64_t before = sink.batches();
  for (std::int64_t count = 0; count < calls; ++count) {
    floorTimes.time([&] { floor.commit(); });
    const double seconds = callTimes.time([&] { call(app); });
    (records(app).empty() ? fillingTimes : otherTimes).add(seconds);
  }
  print("floor", floorTimes);
  print("call", callTimes);
  print("filling", fillingTimes);
  print("other", otherTimes);
  std::printf("batches_meanwhile %llu\n", static_cast<unsigned long long>(sink.batches() - before));
  app.environment->terminate();
}

}  // namespace fliprugair::bench
