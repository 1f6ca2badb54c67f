#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "platform/gpsd/GpsdLocationManager.h"

namespace fliprugair {

/// The searches of one environment: makes its location managers, and holds every search that still runs, also of a
/// manager that was dropped, until its thread has been joined. Owned by the environment; managers may outlive it, and
/// then find nothing. Any thread.
class GpsdLocation {
 public:
  /// `log` takes the lines of searches with logging enabled; it may be empty.
  GpsdLocation(GpsdOptions options, GpsdLocationManager::Log log);

  ~GpsdLocation() { stop(); }
  GpsdLocation(const GpsdLocation&) = delete;
  GpsdLocation& operator=(const GpsdLocation&) = delete;

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
  std::vector<std::shared_ptr<GpsdSearch>> searches_;
  bool stopped_ = false;
};

}  // namespace fliprugair
