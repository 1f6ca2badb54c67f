#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "platform/gpsd/GpsdLocationManager.h"

namespace fliprugair {

/// The searches of one environment: makes its location managers, and ends what they still do before the environment is
/// gone. Owned by the environment; managers may outlive it, and then find nothing. Any thread.
class GpsdLocation {
 public:
  GpsdLocation(GpsdOptions options, GpsdLocationManager::Log log);

  std::shared_ptr<MarluneLocationManager> makeManager();

  /// Ends every search and returns when no delegate is called any more. Later searches find nothing. Not from a
  /// delegate's method.
  void stop();

  /// Whether this is the thread of a search, so that a delegate's method is running further up.
  bool isOwnThread() const;

 private:
  std::vector<std::shared_ptr<GpsdSearch>> searches() const;

  const GpsdOptions options_;
  const GpsdLocationManager::Log log_;

  mutable std::mutex mutex_;  ///< around what follows
  std::vector<std::weak_ptr<GpsdSearch>> searches_;
  bool stopped_ = false;
};

}  // namespace fliprugair
