#pragma once

#include <string_view>

#include "Fliprugair/attribution/AttributionPoll.h"
#include "Fliprugair/core/Context.h"
#include "Fliprugair/core/Identity.h"
#include "Fliprugair/environment/DeviceFacts.h"
#include "Fliprugair/environment/LocationReports.h"
#include "Fliprugair/events/EventRecords.h"
#include "Fliprugair/install/InstallReport.h"
#include "Fliprugair/install/PropertyUpdates.h"

namespace fliprugair {

namespace key {

inline constexpr std::string_view mlinitWait =
    "com.marlune.MarluneTracker.mlinitWait";  // integer, seconds between two init requests

}  // namespace key

/// The settings that the control host gives with its init reply: how each is read and clamped, and to whom it goes.
class ServerSettings {
 public:
  ServerSettings(Context& context, Identity& identity, DeviceFacts& facts, EventRecords& events,
                 LocationReports& location, PropertyUpdates& properties, InstallReport& installReport,
                 AttributionPoll& attribution);

  /// Most are "flags"; the lists stand beside them in the reply.
  void adopt(const Dictionary& reply, const Dictionary& flags);
  /// Only while the attribution result is wanted.
  void adoptAttributionWait(const Dictionary& flags);

 private:
  void adoptLocation(const Dictionary& reply, const Dictionary& flags);

  Context& context_;
  Identity& identity_;
  DeviceFacts& facts_;
  EventRecords& events_;
  LocationReports& location_;
  PropertyUpdates& properties_;
  InstallReport& installReport_;
  AttributionPoll& attribution_;
};

}  // namespace fliprugair
