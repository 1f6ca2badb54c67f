// What the store costs its caller, beside the floor: one prepared single-row commit of a record's bytes in SQLite's
// WAL mode with synchronous=NORMAL. Both are timed in turn, so that what else the machine does falls on both alike.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "benchmarks/Counters.h"
#include "platform/sqlite/SQLiteUserDefaults.h"

namespace fliprugair::bench {
namespace {

constexpr const char* batchEventQueue = "com.marlune.marluneTracker.batchEventQueue";
constexpr const char* networkQueue = "com.marlune.marluneTracker.networkQueue";
constexpr const char* eventsSending = "com.marlune.marluneTracker.eventsSending";
constexpr const char* lastRecord = "com.marlune.MarluneTracker.lastMLTrackerQueued";

std::unique_ptr<SQLiteUserDefaults> openStore(const std::string& file,
                                              StoreDurability durability = StoreDurability::process) {
  auto opened = SQLiteUserDefaults::open(
      file, [](std::string_view line) { std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data()); },
      {.durability = durability});
  require(opened.index() == 0, "the store");
  return std::get<0>(std::move(opened));
}

std::string timestampOf(int number) { return std::to_string(700000000 + number) + ".123456"; }

/// Batches with the numbers from 0 on.
Value batches(int count) {
  std::vector<std::pair<std::string, Value>> pairs;
  pairs.reserve(static_cast<std::size_t>(count));
  for (int number = 0; number < count; ++number) pairs.emplace_back(timestampOf(number), Array{record(number)});
  return Dictionary(std::move(pairs));
}

/// What happens on the way of a record through the queues, of which the oldest is confirmed when another is sent.
class Queues {
 public:
  Queues(SQLiteUserDefaults& store, int waiting) : store_(store), next_(waiting) {
    store_.setObject(batches(waiting), networkQueue);
    store_.synchronize();
  }

  /// Appends a record, as trackEvent does. The 25th leaves with the batch.
  void append(const Value& event) {
    const StoreGroup group(store_);
    const Array queue = store_.objectForKey(batchEventQueue).array().appending(event);
    store_.setObject(queue, batchEventQueue);
    store_.setObject(1753093800 + next_ / 1000, lastRecord);
    store_.synchronize();
    if (queue.size() < 25) return;
    const std::string timestamp = enqueue(queue);
    store_.setObject(store_.objectForKey(eventsSending).dictionary().setting(timestamp, true), eventsSending);
    store_.removeObject(batchEventQueue);
  }

  std::string enqueue(const Value& payload) {
    std::string timestamp = timestampOf(next_++);
    store_.setObject(store_.objectForKey(networkQueue).dictionary().setting(timestamp, payload), networkQueue);
    store_.synchronize();
    return timestamp;
  }

  void confirmOldest() {
    const StoreGroup group(store_);
    const std::string timestamp = timestampOf(oldest_++);
    for (const char* key : {networkQueue, eventsSending}) {
      store_.update(key, [&](const Value& value) { return Value(value.dictionary().removing(timestamp)); });
    }
    store_.synchronize();
  }

 private:
  SQLiteUserDefaults& store_;
  int next_;
  int oldest_ = 0;
};

/// Appends records; as many batches as the argument says wait for their confirmation meanwhile.
void appendRecords(benchmark::State& state) {
  const TemporaryFolder folder;
  Floor floor(folder.file("floor"));
  const auto store = openStore(folder.file("store"));
  Queues queues(*store, static_cast<int>(state.range(0)));
  Times floorTimes;
  Times allTimes;
  Times batchTimes;
  Times confirmationTimes;
  int number = 0;
  for (auto _ : state) {
    const Value event = record(++number);
    floorTimes.time([&] { floor.commit(); });
    const double seconds = allTimes.time([&] { queues.append(event); });
    state.SetIterationTime(seconds);
    if (number % 25 != 0) continue;
    batchTimes.add(seconds);
    confirmationTimes.time([&] { queues.confirmOldest(); });
  }
  report(state, floorTimes, allTimes);
  state.counters["25th_p50_us"] = batchTimes.percentile(50);
  state.counters["25th_p99_us"] = batchTimes.percentile(99);
  state.counters["confirm_p50_us"] = confirmationTimes.percentile(50);
}
BENCHMARK(appendRecords)->Arg(0)->Arg(10000)->UseManualTime()->Iterations(20000)->Unit(benchmark::kMicrosecond);

/// Appends to an array that begins with as many records as the argument says.
void appendToLongQueue(benchmark::State& state) {
  const TemporaryFolder folder;
  Floor floor(folder.file("floor"));
  const auto store = openStore(folder.file("store"));
  std::vector<Value> waiting;
  waiting.reserve(static_cast<std::size_t>(state.range(0)));
  for (int number = 0; number < state.range(0); ++number) waiting.push_back(record(number));
  store->setObject(Array(std::move(waiting)), batchEventQueue);
  store->synchronize();
  Times floorTimes;
  Times storeTimes;
  int number = 0;
  for (auto _ : state) {
    const Value event = record(++number);
    floorTimes.time([&] { floor.commit(); });
    state.SetIterationTime(storeTimes.time([&] {
      store->update(batchEventQueue, [&](const Value& queue) { return Value(queue.array().appending(event)); });
      store->synchronize();
    }));
  }
  report(state, floorTimes, storeTimes);
}
BENCHMARK(appendToLongQueue)->Arg(0)->Arg(10000)->UseManualTime()->Iterations(2000)->Unit(benchmark::kMicrosecond);

/// Enters one request in the network queue, in which as many wait as the argument says.
void enqueue(benchmark::State& state) {
  const TemporaryFolder folder;
  Floor floor(folder.file("floor"));
  const auto store = openStore(folder.file("store"));
  Queues queues(*store, static_cast<int>(state.range(0)));
  Times floorTimes;
  Times storeTimes;
  int number = 0;
  for (auto _ : state) {
    const Value request = record(++number);
    floorTimes.time([&] { floor.commit(); });
    state.SetIterationTime(storeTimes.time([&] { queues.enqueue(request); }));
    queues.confirmOldest();
  }
  report(state, floorTimes, storeTimes);
}
BENCHMARK(enqueue)->Arg(1)->Arg(10000)->UseManualTime()->Iterations(10000)->Unit(benchmark::kMicrosecond);

/// The rare long waits of a caller, with nothing else on the disk: records appended one after the other, of which each
/// 25th empties the array.
void synchronizeTail(benchmark::State& state, StoreDurability durability) {
  const TemporaryFolder folder;
  const auto store = openStore(folder.file("store"), durability);
  Times times;
  int number = 0;
  for (auto _ : state) {
    const Value event = record(++number);
    state.SetIterationTime(times.time([&] {
      store->update(batchEventQueue, [&](const Value& queue) {
        return number % 25 == 0 ? Value() : Value(queue.array().appending(event));
      });
      store->synchronize();
    }));
  }
  state.counters["p50_us"] = times.percentile(50);
  state.counters["p99_us"] = times.percentile(99);
  state.counters["p99.99_us"] = times.percentile(99.99);
  state.counters["max_us"] = times.percentile(100);
}
BENCHMARK_CAPTURE(synchronizeTail, process, StoreDurability::process)
    ->UseManualTime()
    ->Iterations(100000)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(synchronizeTail, powerCut, StoreDurability::powerCut)
    ->UseManualTime()
    ->Iterations(2000)
    ->Unit(benchmark::kMicrosecond);

/// Opens an empty store, beside opening an empty SQLite file in the same mode.
void openEmpty(benchmark::State& state) {
  Times floorTimes;
  Times storeTimes;
  for (auto _ : state) {
    const TemporaryFolder folder;
    std::unique_ptr<Floor> floor;
    std::unique_ptr<SQLiteUserDefaults> store;
    floorTimes.time([&] { floor = std::make_unique<Floor>(folder.file("floor")); });
    state.SetIterationTime(storeTimes.time([&] { store = openStore(folder.file("store")); }));
  }
  report(state, floorTimes, storeTimes);
}
BENCHMARK(openEmpty)->UseManualTime()->Iterations(50)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace fliprugair::bench
