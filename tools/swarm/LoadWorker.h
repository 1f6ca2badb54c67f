#pragma once

#include <curl/curl.h>

#include <chrono>
#include <deque>
#include <memory>
#include <mutex>
#include <queue>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/curl/CurlTransfer.h"
#include "platform/curl/Gzip.h"
#include "platform/curl/RequestContent.h"
#include "platform/json/RapidJSONSerialization.h"
#include "tools/swarm/Load.h"
#include "tools/swarm/SwarmDevice.h"

namespace fliprugair::swarm {

/// One thread's share of a load: its devices, its connections and its part of the rate. `run` is the thread;
/// `requestStop` and `report` may be called from any.
///
/// The device whose next moment is the earliest lives on, until a request comes out that is to leave at its turn. A
/// device whose requests are under way waits for them: a request takes no time in its life.
class LoadWorker final : private SwarmDevice::Network {
 public:
  /// Its devices are those whose number is `share` modulo the number of threads. `fleet` must outlive it. Throws
  /// std::runtime_error.
  LoadWorker(const Fleet& fleet, const LoadOptions& options, std::size_t share);
  ~LoadWorker() override;
  LoadWorker(const LoadWorker&) = delete;
  LoadWorker& operator=(const LoadWorker&) = delete;

  void run();
  void requestStop();
  LoadReport report() const;

  /// After the end of `run`.
  Records records() const;

 private:
  using Clock = std::chrono::steady_clock;
  using Duration = std::chrono::duration<double>;

  struct Cleanup {
    void operator()(CURLM* handle) const { curl_multi_cleanup(handle); }
  };
  struct Flight {
    std::unique_ptr<CurlTransfer> transfer;
    std::uint32_t place;  ///< of its device
    std::uint64_t request;
    std::size_t bodySize;
    Clock::time_point due;
  };
  using Turn = std::pair<Time, std::uint32_t>;  ///< a device's next moment, and its place

  void send(SwarmDevice& device, std::uint64_t request, const Value& payload) override;
  void letLive(Clock::time_point end);
  bool mayLive() const;
  bool endTransfers();
  void end(CURL* handle, CURLcode result);
  void note(const Flight& flight, const NetworkOutcome& outcome);
  void noteTime(Duration passed);
  void takeTurn(std::uint32_t place);
  int millisecondsToNextTurn(Clock::time_point end) const;
  bool hasStopped() const;

  const LoadOptions& options_;
  const ControlHostURL url_;
  CurlNetworkOptions curlOptions_;
  const Duration interval_;  ///< between two requests; 0: none
  const RapidJSONSerialization json_;
  std::deque<SwarmDevice> devices_;
  std::vector<std::uint16_t> busy_;  ///< by the device's place: its requests that are under way
  std::priority_queue<Turn, std::vector<Turn>, std::greater<>> turns_;
  const RequestContents contents_;
  GzipConsent gzip_;
  std::unique_ptr<CURLM, Cleanup> multi_;
  std::unordered_map<CURL*, Flight> flights_;
  std::vector<std::pair<CURL*, CURLcode>> stillborn_;  ///< flights that libcurl did not take
  Clock::time_point nextSend_;

  mutable std::mutex mutex_;  ///< around the rest
  LoadReport report_;
  bool isStopping_ = false;
};

}  // namespace fliprugair::swarm
