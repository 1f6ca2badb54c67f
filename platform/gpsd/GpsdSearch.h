#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string_view>
#include <thread>

#include "platform/gpsd/GpsReports.h"
#include "platform/gpsd/GpsdConnection.h"
#include "platform/gpsd/GpsdLocationManager.h"

namespace fliprugair {

/// What a location manager and the thread of its search share. The thread is detached, since it has to be freed when
/// the search is over, long before the manager may be dropped; `running_` stands in for joining it. Owned by the
/// manager and by the thread, so that whoever still finds this object finds every search that still runs. Any thread.
class GpsdSearch : public std::enable_shared_from_this<GpsdSearch> {
 public:
  GpsdSearch(GpsdOptions options, GpsdLocationManager::Log log) : options_(std::move(options)), log_(std::move(log)) {}

  /// Waits for a call of the former delegate that is running on another thread.
  void setDelegate(std::weak_ptr<MarluneLocationManagerDelegate> delegate);

  /// Has no effect the second time, nor after end().
  void begin(bool loggingEnabled, double accuracy, std::chrono::seconds timeout);

  /// Ends the search for good, and waits for its thread unless called there.
  void end();

  bool isOwnThread() const;

 private:
  void run(double accuracy, GpsdConnection::Deadline deadline);
  std::optional<GpsFix> find(double accuracy, GpsdConnection::Deadline deadline);
  void deliver(const GpsFix& fix);
  void log(std::string_view line) const;
  bool isThisThread() const { return std::this_thread::get_id() == thread_; }

  const GpsdOptions options_;
  const GpsdLocationManager::Log log_;
  bool loggingEnabled_ = false;  ///< written before the thread begins
  std::stop_source stop_;

  mutable std::mutex mutex_;  ///< around what follows
  std::condition_variable changed_;
  std::weak_ptr<MarluneLocationManagerDelegate> delegate_;
  std::thread::id thread_;  ///< of the search, once it runs
  bool begun_ = false;
  bool running_ = false;
  bool delivering_ = false;
};

}  // namespace fliprugair
