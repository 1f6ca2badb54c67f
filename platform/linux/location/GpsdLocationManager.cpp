#include "platform/linux/location/GpsdLocationManager.h"

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <thread>

#include "platform/Text.h"
#include "platform/linux/location/GpsReports.h"
#include "platform/linux/location/GpsdConnection.h"

namespace fliprugair {

/// What the object and the thread of its search share. The thread is detached, since it has to be freed when the search
/// is over, long before the object may be dropped; `running_` stands in for joining it.
class GpsdLocationManager::Search : public std::enable_shared_from_this<Search> {
 public:
  Search(GpsdOptions options, Log log) : options_(std::move(options)), log_(std::move(log)) {}

  void setDelegate(std::weak_ptr<MarluneLocationManagerDelegate> delegate);
  void begin(bool loggingEnabled, double accuracy, std::chrono::seconds timeout);
  void end();

 private:
  void run(double accuracy, GpsdConnection::Deadline deadline);
  std::optional<GpsFix> find(double accuracy, GpsdConnection::Deadline deadline);
  void deliver(const GpsFix& fix);
  void log(std::string_view line) const;
  bool isOwnThread() const { return std::this_thread::get_id() == thread_; }

  const GpsdOptions options_;
  const Log log_;
  bool loggingEnabled_ = false;  ///< written before the thread begins
  std::stop_source stop_;

  std::mutex mutex_;
  std::condition_variable changed_;
  std::weak_ptr<MarluneLocationManagerDelegate> delegate_;
  std::thread::id thread_;  ///< of the search, once it runs
  bool begun_ = false;
  bool running_ = false;
  bool delivering_ = false;
};

void GpsdLocationManager::Search::setDelegate(std::weak_ptr<MarluneLocationManagerDelegate> delegate) {
  std::unique_lock lock(mutex_);
  delegate_.swap(delegate);
  if (!isOwnThread()) changed_.wait(lock, [this] { return !delivering_; });
}

void GpsdLocationManager::Search::begin(bool loggingEnabled, double accuracy, std::chrono::seconds timeout) {
  const std::lock_guard lock(mutex_);
  if (begun_) return;
  begun_ = true;
  loggingEnabled_ = loggingEnabled;
  try {
    std::thread([self = shared_from_this(), accuracy, deadline = std::chrono::steady_clock::now() + timeout] {
      self->run(accuracy, deadline);
    }).detach();
    running_ = true;
  } catch (const std::exception&) {
    // No thread to be had: the search is over without a fix.
  }
}

void GpsdLocationManager::Search::end() {
  stop_.request_stop();
  std::unique_lock lock(mutex_);
  delegate_.reset();
  if (!isOwnThread()) changed_.wait(lock, [this] { return !running_; });
}

void GpsdLocationManager::Search::run(double accuracy, GpsdConnection::Deadline deadline) {
  {
    const std::lock_guard lock(mutex_);
    thread_ = std::this_thread::get_id();
  }
  pthread_setname_np(pthread_self(), "gpsd search");
  try {
    if (const auto fix = find(accuracy, deadline)) deliver(*fix);
  } catch (...) {
    // Out of memory, or the delegate's or the sink's own: nobody above this could make anything of it.
  }
  const std::lock_guard lock(mutex_);
  running_ = delivering_ = false;
  thread_ = {};
  changed_.notify_all();
}

std::optional<GpsFix> GpsdLocationManager::Search::find(double accuracy, GpsdConnection::Deadline deadline) {
  GpsdConnection gpsd(options_, deadline, stop_.get_token());
  if (!gpsd.isOpen()) {
    log("location: no gpsd at " + options_.host + " port " + options_.port);
    return std::nullopt;
  }
  log("location: searching for a fix");
  GpsReports reports(accuracy);
  while (const auto line = gpsd.nextLine()) {
    if (const auto fix = reports.sufficientFix(*line)) return fix;
  }
  log("location: no fix, the time is over, or gpsd is gone");
  return std::nullopt;
}

void GpsdLocationManager::Search::deliver(const GpsFix& fix) {
  log("location: found a fix, accurate to " + fixedText(fix.accuracy) + " m");
  std::shared_ptr<MarluneLocationManagerDelegate> delegate;
  {
    const std::lock_guard lock(mutex_);
    delegate = delegate_.lock();
    delivering_ = delegate != nullptr;
  }
  if (!delegate) return;
  delegate->currentLocationUpdate(
      Value{{"latitude", fix.latitude}, {"longitude", fix.longitude}, {"accuracy", fix.accuracy}});
}

void GpsdLocationManager::Search::log(std::string_view line) const {
  if (loggingEnabled_ && log_ && !stop_.stop_requested()) log_(line);
}

GpsdLocationManager::GpsdLocationManager(GpsdOptions options, Log log)
    : search_(std::make_shared<Search>(std::move(options), std::move(log))) {}

GpsdLocationManager::~GpsdLocationManager() { search_->end(); }

void GpsdLocationManager::setLocationManagerDelegate(std::weak_ptr<MarluneLocationManagerDelegate> delegate) {
  search_->setDelegate(std::move(delegate));
}

void GpsdLocationManager::initLocationServices(bool loggingEnabled, std::int64_t accuracy, std::int64_t timeout) {
  // A day is as good as any longer time, and the clock can count it.
  const std::chrono::seconds longest = std::chrono::hours(24);
  search_->begin(loggingEnabled, static_cast<double>(accuracy),
                 std::chrono::seconds(std::clamp<std::int64_t>(timeout, 0, longest.count())));
}

}  // namespace fliprugair
