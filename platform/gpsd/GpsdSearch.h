#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>
#include <thread>

#include "platform/gpsd/GpsReports.h"
#include "platform/gpsd/GpsdConnection.h"
#include "platform/gpsd/GpsdLocationManager.h"
#include "platform/gpsd/GpsdStop.h"

namespace fliprugair {

/// What a location manager and the thread of its search share. Owned by both the manager and GpsdLocation, which
/// outlives the thread. Any thread.
class GpsdSearch {
 public:
  GpsdSearch(GpsdOptions options, GpsdLocationManager::Log log) : options_(std::move(options)), log_(std::move(log)) {}
  ~GpsdSearch() { end(); }
  GpsdSearch(const GpsdSearch&) = delete;
  GpsdSearch& operator=(const GpsdSearch&) = delete;

  /// Waits for a call of the former delegate that is running on another thread.
  void setDelegate(std::weak_ptr<MarluneLocationManagerDelegate> delegate);

  /// Has no effect the second time, nor after end().
  void begin(bool loggingEnabled, double accuracy, std::chrono::seconds timeout);

  /// Ends the search for good, and waits for its thread unless called there.
  void end();

  bool isRunning() const;

 private:
  using Deadline = GpsdConnection::Deadline;

  void run(double accuracy, Deadline deadline);
  std::optional<GpsFix> find(double accuracy, Deadline deadline);
  void deliver(const GpsFix& fix);
  void log(std::string_view line) const;

  const GpsdOptions options_;
  const GpsdLocationManager::Log log_;
  bool loggingEnabled_ = false;  ///< written before the thread begins
  GpsdStop stop_;

  mutable std::mutex mutex_;  ///< around what follows
  std::condition_variable changed_;
  std::weak_ptr<MarluneLocationManagerDelegate> delegate_;
  std::thread thread_;
  bool begun_ = false;
  bool running_ = false;
  bool delivering_ = false;
};

}  // namespace fliprugair
