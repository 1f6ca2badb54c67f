#include "platform/gpsd/GpsdSearch.h"

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

#include "Fliprugair/platform/Text.h"
#include "platform/Joined.h"
#include "platform/posix/Threads.h"

namespace fliprugair {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds untilNextTry(1);

}  // namespace

void GpsdSearch::setDelegate(std::weak_ptr<MarluneLocationManagerDelegate> delegate) {
  std::unique_lock lock(mutex_);
  delegate_.swap(delegate);
  if (!isThreadOf(this)) changed_.wait(lock, [this] { return !delivering_; });
}

void GpsdSearch::begin(bool loggingEnabled, double accuracy, std::chrono::seconds timeout) {
  const std::lock_guard lock(mutex_);
  if (begun_ || stop_.isRequested()) return;
  begun_ = true;
  loggingEnabled_ = loggingEnabled;
  try {
    thread_ = startThread("gpsd search", this,
                          [this, accuracy, deadline = Clock::now() + timeout] { run(accuracy, deadline); });
    running_ = true;
  } catch (const std::exception&) {
    // No thread to be had: the search is over without a fix.
  }
}

void GpsdSearch::end() {
  stop_.request();
  std::thread thread;
  {
    std::unique_lock lock(mutex_);  // from here on begin() sees the stop
    delegate_.reset();
    if (isThreadOf(this)) return;
    changed_.wait(lock, [this] { return !running_; });
    thread = std::move(thread_);
  }
  if (thread.joinable()) thread.join();
}

bool GpsdSearch::isRunning() const {
  const std::lock_guard lock(mutex_);
  return running_;
}

void GpsdSearch::run(double accuracy, Deadline deadline) {
  try {
    if (const auto fix = find(accuracy, deadline)) deliver(*fix);
  } catch (...) {
    // Out of memory, or the delegate's or the sink's own: nobody above this could make anything of it.
  }
  const std::lock_guard lock(mutex_);
  running_ = delivering_ = false;
  changed_.notify_all();
}

std::optional<GpsFix> GpsdSearch::find(double accuracy, Deadline deadline) {
  // The same for every connection: a gpsd that comes back may repeat what its forerunner said last.
  GpsReports reports(accuracy);
  std::string said;
  const auto say = [&](const std::string& line) {
    if (std::exchange(said, line) != line) log(line);
  };
  for (; Clock::now() < deadline && !stop_.isRequested();
       stop_.waitUntil(std::min(Clock::now() + untilNextTry, deadline))) {
    GpsdConnection gpsd(options_, deadline, stop_);
    if (!gpsd.isOpen()) {
      say(joined({"location: no gpsd at ", options_.host, " port ", options_.port}));
      continue;
    }
    say("location: searching for a fix");
    while (const auto line = gpsd.nextLine()) {
      if (const auto fix = reports.sufficientFix(*line)) return fix;
    }
    if (Clock::now() < deadline) say("location: gpsd is gone");
  }
  log("location: no fix, the time is over");
  return std::nullopt;
}

void GpsdSearch::deliver(const GpsFix& fix) {
  log(joined({"location: found a fix, accurate to ", fixedText(fix.accuracy), " m"}));
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
  if (loggingEnabled_ && log_ && !stop_.isRequested()) log_(line);
}

}  // namespace fliprugair
