#pragma once

#include "Fliprugair/platform/JSONSerialization.h"
#include "Fliprugair/platform/UserDefaults.h"
#include "Fliprugair/platform/linux/Waiting.h"

namespace fliprugair {

/// What the trackers keep in the store until the control host has confirmed it. Reads only. Any thread.
class StoredReports {
 public:
  explicit StoredReports(const UserDefaults& store) : store_(store) {}

  bool areAllConfirmed() const;

  /// Whether there are records that a flush would send now.
  bool areReadyToFlush() const;

  /// Takes as long as writing all of it as JSON text does.
  Waiting waiting(const JSONSerialization& json) const;

 private:
  bool isInstallReportDue() const;

  const UserDefaults& store_;
};

}  // namespace fliprugair
