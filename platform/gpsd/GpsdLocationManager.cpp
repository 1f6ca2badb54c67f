#include "platform/gpsd/GpsdLocationManager.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "platform/gpsd/GpsdSearch.h"

namespace fliprugair {

GpsdLocationManager::GpsdLocationManager(std::shared_ptr<GpsdSearch> search) : search_(std::move(search)) {}

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
