#pragma once

#include <string_view>

#include "Fliprugair/core/Context.h"
#include "Fliprugair/core/RequestEnvelope.h"
#include "Fliprugair/environment/DeviceFacts.h"
#include "Fliprugair/events/RequestQueue.h"
#include "Fliprugair/install/InstallData.h"
#include "Fliprugair/install/SearchAdAttribution.h"
#include "Fliprugair/watch/WatchReports.h"

namespace fliprugair {

namespace key {

inline constexpr std::string_view sendInitial = "com.marlune.MarluneTracker.sendInitial";  // boolean: still to be sent

}  // namespace key

/// The report of the installation: whether it is due, how it is handed over, and its reply.
class InstallReport {
 public:
  InstallReport(Context& context, RequestQueue& requests, const RequestEnvelope& envelope, DeviceFacts& facts,
                InstallData& data, SearchAdAttribution& searchAd, WatchReports& watch)
      : context_(context),
        requests_(requests),
        envelope_(envelope),
        facts_(facts),
        data_(data),
        searchAd_(searchAd),
        watch_(watch) {}

  bool isInstallReportDue() const { return context_.store().boolForKey(key::sendInitial); }
  void makeDue() { context_.store().setBool(true, key::sendInitial); }

  /// Gathers the report. Systems with search-ad attribution wait for its answer; on others it is sent now.
  void initialEvent();
  /// Sends the report that waits for nothing any more, if there is one.
  void sendParked();
  /// The reply itself is not judged: a failed report is resent from the network queue.
  void MarluneInitialResult(const Value& reply);

  void storeDefaults();

 private:
  void sendInitial(const Value& request);

  Context& context_;
  RequestQueue& requests_;
  const RequestEnvelope& envelope_;
  DeviceFacts& facts_;
  InstallData& data_;
  SearchAdAttribution& searchAd_;
  WatchReports& watch_;
};

}  // namespace fliprugair
