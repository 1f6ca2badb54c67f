#include "platform/gpsd/GpsdSearch.h"

#include <exception>
#include <string>
#include <utility>

#include "Fliprugair/platform/Text.h"
#include "platform/posix/Threads.h"

namespace fliprugair {

void GpsdSearch::setDelegate(std::weak_ptr<MarluneLocationManagerDelegate> delegate) {
  std::unique_lock lock(mutex_);
  delegate_.swap(delegate);
  if (!isThisThread()) changed_.wait(lock, [this] { return !delivering_; });
}

void GpsdSearch::begin(bool loggingEnabled, double accuracy, std::chrono::seconds timeout) {
  const std::lock_guard lock(mutex_);
  if (begun_ || stop_.stop_requested()) return;
  begun_ = true;
  loggingEnabled_ = loggingEnabled;
  try {
    startThread("gpsd search", [self = shared_from_this(), accuracy,
                                deadline = std::chrono::steady_clock::now() + timeout] {
      self->run(accuracy, deadline);
    }).detach();
    running_ = true;
  } catch (const std::exception&) {
    // No thread to be had: the search is over without a fix.
  }
}

void GpsdSearch::end() {
  stop_.request_stop();
  std::unique_lock lock(mutex_);  // from here on begin() sees the stop
  delegate_.reset();
  if (!isThisThread()) changed_.wait(lock, [this] { return !running_; });
}

bool GpsdSearch::isOwnThread() const {
  const std::lock_guard lock(mutex_);
  return isThisThread();
}

void GpsdSearch::run(double accuracy, GpsdConnection::Deadline deadline) {
  {
    const std::lock_guard lock(mutex_);
    thread_ = std::this_thread::get_id();
  }
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

std::optional<GpsFix> GpsdSearch::find(double accuracy, GpsdConnection::Deadline deadline) {
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

void GpsdSearch::deliver(const GpsFix& fix) {
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

void GpsdSearch::log(std::string_view line) const {
  if (loggingEnabled_ && log_ && !stop_.stop_requested()) log_(line);
}

}  // namespace fliprugair
