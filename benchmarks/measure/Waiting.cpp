#include <chrono>
#include <cstdio>
#include <thread>

#include "benchmarks/App.h"
#include "benchmarks/Support.h"
#include "benchmarks/measure/Figures.h"
#include "benchmarks/measure/Sink.h"

namespace fliprugair::bench {

namespace {

/// What a start leaves for other threads to do is done by then: they tell nobody when they are.
void rest() { std::this_thread::sleep_for(std::chrono::seconds(1)); }

constexpr std::uint64_t requestsAtATime = 8;

}  // namespace

void fill(std::int64_t events, const std::string& file) {
  const Sink sink(Sink::Manner::answers);
  {
    const App installed = install(file, sink.hostname());
    installed.environment->terminate();
  }
  const App app = launch(file);
  for (std::int64_t count = 0; count < events; ++count) call(app);
  app.environment->terminate();
}

void start(const std::string& file) {
  App app;
  Times times;
  times.time([&] { app = launch(file); });
  std::printf("start %.3f\n", times.percentile(50) / 1000);
  app.environment->terminate();
}

void memoryWaiting(const std::string& file) {
  const Sink sink(Sink::Manner::keepsSilent);
  const App app = launch(file, sink.hostname());
  rest();
  std::printf("started %ld\nstarted_anonymous %ld\n", residentKibibytes(), anonymousKibibytes());
  app.environment->applicationDidBecomeActive();
  sink.waitForRequests(requestsAtATime);
  rest();
  std::printf("active %ld\n", residentKibibytes());
  std::fflush(stdout);
  std::_Exit(0);  // a host that does not answer would hold up the end
}

void memoryIdle(const std::string& file) {
  const Sink sink(Sink::Manner::answers);
  const App app = install(file, sink.hostname());
  rest();
  std::printf("idle %ld\nidle_anonymous %ld\n", residentKibibytes(), anonymousKibibytes());
  app.environment->terminate();
}

void memoryOfProgram() {
  const Sink sink(Sink::Manner::answers);
  rest();
  std::printf("program %ld\nprogram_anonymous %ld\n", residentKibibytes(), anonymousKibibytes());
}

}  // namespace fliprugair::bench
