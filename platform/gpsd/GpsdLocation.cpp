#include "platform/gpsd/GpsdLocation.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <utility>

#include "platform/gpsd/GpsdSearch.h"
#include "platform/posix/Threads.h"

namespace fliprugair {

GpsdLocation::GpsdLocation(GpsdOptions options, GpsdLocationManager::Log log)
    : options_(std::move(options)), log_(std::move(log)) {}

std::shared_ptr<MarluneLocationManager> GpsdLocation::makeManager() {
  const auto search = std::make_shared<GpsdSearch>(options_, log_);
  std::vector<std::shared_ptr<GpsdSearch>> over;
  {
    const std::lock_guard lock(mutex_);
    if (stopped_) search->end();
    const auto isOver = [](const auto& earlier) { return earlier.use_count() == 1 && !earlier->isRunning(); };
    const auto first = std::partition(searches_.begin(), searches_.end(), std::not_fn(isOver));
    over.assign(std::move_iterator(first), std::move_iterator(searches_.end()));
    searches_.erase(first, searches_.end());
    searches_.push_back(search);
  }
  return std::make_shared<GpsdLocationManager>(search);
}

void GpsdLocation::stop() {
  {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
  }
  for (const auto& search : searches()) search->end();
}

bool GpsdLocation::isOwnThread() const {
  const auto all = searches();
  return std::any_of(all.begin(), all.end(), [](const auto& search) { return isThreadOf(search.get()); });
}

std::vector<std::shared_ptr<GpsdSearch>> GpsdLocation::searches() const {
  const std::lock_guard lock(mutex_);
  return searches_;
}

}  // namespace fliprugair
