#include "platform/gpsd/GpsdLocation.h"

#include <algorithm>
#include <utility>

#include "platform/gpsd/GpsdSearch.h"

namespace fliprugair {

GpsdLocation::GpsdLocation(GpsdOptions options, GpsdLocationManager::Log log)
    : options_(std::move(options)), log_(std::move(log)) {}

std::shared_ptr<MarluneLocationManager> GpsdLocation::makeManager() {
  const auto search = std::make_shared<GpsdSearch>(options_, log_);
  {
    const std::lock_guard lock(mutex_);
    if (stopped_) search->end();
    std::erase_if(searches_, [](const auto& earlier) { return earlier.expired(); });
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
  return std::any_of(all.begin(), all.end(), [](const auto& search) { return search->isOwnThread(); });
}

std::vector<std::shared_ptr<GpsdSearch>> GpsdLocation::searches() const {
  const std::lock_guard lock(mutex_);
  std::vector<std::shared_ptr<GpsdSearch>> all;
  for (const auto& search : searches_) {
    if (auto alive = search.lock()) all.push_back(std::move(alive));
  }
  return all;
}

}  // namespace fliprugair
