#pragma once

#include <cstdint>
#include <string_view>

#include "Fliprugair/attribution/AttributionPoll.h"
#include "Fliprugair/core/Context.h"
#include "Fliprugair/core/Identity.h"
#include "Fliprugair/environment/DeviceFacts.h"
#include "Fliprugair/environment/LocationReports.h"
#include "Fliprugair/events/BatchQueue.h"
#include "Fliprugair/events/EventRecords.h"
#include "Fliprugair/install/InstallReport.h"
#include "Fliprugair/install/PropertyUpdates.h"
#include "Fliprugair/install/SearchAdAttribution.h"

namespace fliprugair {

namespace key {

inline constexpr std::string_view mlinitWait =
    "com.marlune.MarluneTracker.mlinitWait";  // integer, seconds between two init requests

}  // namespace key

/// The settings that the control host gives with its init reply: how each is read and clamped, and to whom it goes.
class ServerSettings {
 public:
  ServerSettings(Context& context, Identity& identity, BatchQueue& batch, SearchAdAttribution& searchAd,
                 DeviceFacts& facts, EventRecords& events, LocationReports& location, PropertyUpdates& properties,
                 InstallReport& installReport, AttributionPoll& attribution)
      : context_(context),
        identity_(identity),
        batch_(batch),
        searchAd_(searchAd),
        facts_(facts),
        events_(events),
        location_(location),
        properties_(properties),
        installReport_(installReport),
        attribution_(attribution) {}

  /// Most are "flags"; the lists stand beside them in the reply.
  void adopt(const Dictionary& reply, const Dictionary& flags);
  /// Only while the attribution result is wanted.
  void adoptAttributionWait(const Dictionary& flags);

  /// Seconds between two init requests.
  std::int64_t initWait() const { return context_.store().integerForKey(key::mlinitWait); }
  void storeDefaults();

 private:
  void adoptNumbers(const Dictionary& flags);
  void adoptLocation(const Dictionary& reply, const Dictionary& flags);

  Context& context_;
  Identity& identity_;
  BatchQueue& batch_;
  SearchAdAttribution& searchAd_;
  DeviceFacts& facts_;
  EventRecords& events_;
  LocationReports& location_;
  PropertyUpdates& properties_;
  InstallReport& installReport_;
  AttributionPoll& attribution_;
};

}  // namespace fliprugair
