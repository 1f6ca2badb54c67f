#include "tools/swarm/Load.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "tools/swarm/LoadWorker.h"

namespace fliprugair::swarm {

namespace {

/// libcurl counts its users itself; all threads of a load are one.
struct Library {
  Library() {
    if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) throw std::runtime_error("libcurl cannot be initialized");
  }
  ~Library() { curl_global_cleanup(); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
};

using Workers = std::vector<std::unique_ptr<LoadWorker>>;

LoadReport sum(const Workers& workers) {
  LoadReport total;
  for (const auto& worker : workers) {
    const LoadReport one = worker->report();
    total.deviceTime = worker == workers.front() ? one.deviceTime : std::min(total.deviceTime, one.deviceTime);
    total.seconds = std::max(total.seconds, one.seconds);
    total.inFlight += one.inFlight;
    total.traffic += one.traffic;
    total.latencies += one.latencies;
    for (const auto& [reason, count] : one.failures) total.failures[reason] += count;
  }
  return total;
}

}  // namespace

LoadReport runLoad(Fleet fleet, const LoadOptions& options, const std::function<bool(const LoadReport&)>& tick) {
  const Library library;
  fleet.trackerOptions = fleet.trackerOptions.dictionary().setting("trackerHostname", options.hostname);
  Workers workers;
  for (std::size_t share = 0; share < options.threads; ++share) {
    workers.push_back(std::make_unique<LoadWorker>(fleet, options, share));
  }
  std::atomic<std::size_t> running = workers.size();
  std::vector<std::jthread> threads;
  for (const auto& worker : workers) {
    threads.emplace_back([&] {
      worker->run();
      --running;
    });
  }
  while (running > 0) {
    if (tick(sum(workers))) continue;
    for (const auto& worker : workers) worker->requestStop();
    break;
  }
  threads.clear();
  LoadReport report = sum(workers);
  for (const auto& worker : workers) report.records += worker->records();
  return report;
}

}  // namespace fliprugair::swarm
