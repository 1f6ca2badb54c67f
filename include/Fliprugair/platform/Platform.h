#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "Fliprugair/platform/Application.h"
#include "Fliprugair/platform/Device.h"
#include "Fliprugair/platform/Documents.h"
#include "Fliprugair/platform/JSONSerialization.h"
#include "Fliprugair/platform/MainQueue.h"
#include "Fliprugair/platform/NotificationCenter.h"
#include "Fliprugair/platform/UserDefaults.h"

namespace fliprugair {

/// Everything that the tracker asks of the system it runs on: one object a process, owned by the host app.
/// It must outlive every tracker that was constructed with it. Any thread, except where an interface says otherwise.
class Platform {
 public:
  virtual ~Platform() = default;

  virtual UserDefaults& userDefaults() = 0;
  virtual NotificationCenter& notificationCenter() = 0;
  virtual MainQueue& mainQueue() = 0;
  virtual GlobalQueue& globalQueue() = 0;
  virtual Application& application() = 0;
  virtual Bundle& bundle() = 0;
  virtual Device& device() = 0;
  virtual Surroundings& surroundings() = 0;
  virtual Documents& documents() = 0;
  virtual JSONSerialization& json() = 0;

  /// Seconds since 1970-01-01 00:00 UTC by the wall clock, with a fraction.
  virtual double secondsSince1970() = 0;

  /// A random UUID (version 4) in canonical upper-case text: 36 characters.
  virtual std::string randomUUID() = 0;

  /// Writes one diagnostic line. Called with no lock held; what the sink throws is dropped.
  virtual void log(std::string_view line) = 0;

  /// Whether nothing is done here any more, for good, as in a fork of the process that this was made in: trackers ask
  /// before anything else, and do nothing either. Takes no lock: whoever held it may not be in this process.
  virtual bool isInert() const { return false; }
};

}  // namespace fliprugair
