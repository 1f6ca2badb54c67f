// What a call of the tracker costs the host app's thread, with the real store, beside the floor. Both are timed in
// turn, so that what else the machine does falls on both alike.

#include <fstream>

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/core/ProcessState.h"
#include "Fliprugair/platform/linux/LinuxEnvironment.h"
#include "benchmarks/Support.h"

namespace fliprugair::bench {
namespace {

/// A control host that never answers: what is sent stays in the network queue.
class SilentNetwork final : public MarluneNetworkAccess {
 public:
  void setLoggingEnabled(bool /*enabled*/) override {}
  void setNetworkAccessDelegate(std::weak_ptr<MarluneNetworkAccessDelegate> /*delegate*/) override {}
  void setEventTimestamp(const Text& /*timestamp*/) override {}
  void setBackgroundTask(BackgroundTaskIdentifier /*task*/) override {}
  bool sendHTTPRequestWithHostname(const std::string& /*hostname*/, const Value& /*payload*/) override { return true; }
};

struct App {
  std::unique_ptr<LinuxEnvironment> environment;
  std::shared_ptr<MarluneTracker> tracker;
};

LinuxOptions optionsIn(const std::string& file) {
  LinuxOptions options;
  options.bundleIdentifier = "com.example.bench";
  options.shortVersion = "1.0";
  options.version = "100";
  options.storePath = file;
  options.log = [](std::string_view) {};
  options.makeNetworkAccess = [](Platform&) { return std::make_shared<SilentNetwork>(); };
  return options;
}

App launch(const std::string& file) {
  auto opened = LinuxEnvironment::open(optionsIn(file));
  require(opened.environment != nullptr, opened.error.c_str());
  App app{std::move(opened.environment), nullptr};
  app.tracker = MarluneTracker::initMarluneWithParams(*app.environment, {{"marluneAppId", "demo"}});
  require(app.tracker != nullptr, "the tracker");
  app.environment->applicationDidFinishLaunching();
  return app;
}

/// Lets `count` batches of one record wait in the network queue.
void fillNetworkQueue(App& app, std::int64_t count) {
  std::vector<std::pair<std::string, Value>> batches;
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
    const double seconds =
        allTimes.time([&] { app.tracker->trackEvent("level finished", "{\"level\":12,\"stars\":3}"); });
    state.SetIterationTime(seconds);
    if (!enqueues) continue;
    enqueueTimes.add(seconds);
    enqueueBytes += bytesWritten() - before;
  }
  report(state, floorTimes, allTimes);
  state.counters["enqueue_p50_us"] = enqueueTimes.percentile(50);
  state.counters["enqueue_p99_us"] = enqueueTimes.percentile(99);
  state.counters["enqueue_bytes"] = enqueueBytes / (number / 25);
  app.environment->terminate();
}
BENCHMARK(trackEvent)->Arg(0)->Arg(10000)->UseManualTime()->Iterations(20000)->Unit(benchmark::kMicrosecond);

/// Opening the environment and constructing the tracker with nothing stored, beside opening an empty SQLite file.
void construct(benchmark::State& state) {
  Times floorTimes;
  Times times;
  for (auto _ : state) {
    const TemporaryFolder folder;
    std::unique_ptr<Floor> floor;
    App app;
    floorTimes.time([&] { floor = std::make_unique<Floor>(folder.file("floor")); });
    state.SetIterationTime(times.time([&] {
      app.environment = std::move(LinuxEnvironment::open(optionsIn(folder.file("store"))).environment);
      app.tracker = MarluneTracker::initMarluneWithParams(*app.environment, {{"marluneAppId", "demo"}});
    }));
    app.environment->terminate();
    app.tracker = nullptr;
  }
  report(state, floorTimes, times);
}
BENCHMARK(construct)->UseManualTime()->Iterations(50)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace fliprugair::bench
