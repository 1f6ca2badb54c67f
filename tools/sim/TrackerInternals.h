#pragma once

#include "Fliprugair/MarluneTracker.h"

namespace fliprugair {

/// The inner operations of a tracker that a script or a test may call.
struct TrackerInternals {
  using Tracker = MarluneTracker;

  static Value getMarluneDeviceId(const Tracker& tracker) { return tracker.getMarluneDeviceId(); }
  static Value createDeviceId(const Tracker& tracker) { return tracker.createDeviceId(); }
  static std::string enqueueMarluneEvent(Tracker& tracker, const Value& payload) {
    return tracker.enqueueMarluneEvent(payload);
  }
  static bool isEventSending(const Tracker& tracker, std::string_view timestamp) {
    return tracker.isEventSending(timestamp);
  }
  static void sendQueueEvents(Tracker& tracker) { tracker.sendQueueEvents(); }
  static void appendBatchEvent(Tracker& tracker, const Value& record) { tracker.appendBatchEvent(record); }
  static void flushBatchQueue(Tracker& tracker, bool isResignActive) { tracker.flushBatchQueue(isResignActive); }
  static std::string currentLocalTime(const Tracker& tracker) { return tracker.currentLocalTime(); }
  static std::string returnUptime(const Tracker& tracker) { return tracker.returnUptime(); }
  static std::string returnAndSetUptimeDelta(Tracker& tracker) { return tracker.returnAndSetUptimeDelta(); }
  static bool networkConnectedBool(const Tracker& tracker) { return tracker.networkConnectedBool(); }
  static bool cellularConnectedBool(const Tracker& tracker) { return tracker.cellularConnectedBool(); }
  static bool wiFiConnectedBool(const Tracker& tracker) { return tracker.wiFiConnectedBool(); }
  static bool locationServicesApproved(const Tracker& tracker) { return tracker.locationServicesApproved(); }
  static void checkReportLocation(Tracker& tracker) { tracker.checkReportLocation(); }
  static void checkWatchPropertiesChanged(Tracker& tracker) { tracker.checkWatchPropertiesChanged(); }
  static bool isOSGenuine(const Tracker& tracker) { return tracker.isOSGenuine(); }
  static std::string getFullFilename(const Tracker& tracker, std::string_view name) {
    return tracker.getFullFilename(name);
  }
  static bool UIInterfaceOrientationIsLandscape(int orientation) {
    return Tracker::UIInterfaceOrientationIsLandscape(orientation);
  }
};

}  // namespace fliprugair
