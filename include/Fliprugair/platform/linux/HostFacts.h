#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Fliprugair/platform/Device.h"

namespace fliprugair {

/// What the host app states about the device. Where a fact says so, the system is asked when the host app is silent;
/// for the others Linux has no source.
struct HostFacts {
  std::optional<std::string> systemName = {};     ///< else NAME of os-release
  std::optional<std::string> systemVersion = {};  ///< else VERSION_ID of os-release, else the kernel's release
  std::optional<std::string> hardware = {};       ///< else the product name and the processor's kind

  /// Linux has no such number. Receipts are reported only from 1048 on, and the default lies above it.
  double foundationVersionNumber = 1280.25;

  /// Else derived from the machine's and the application's identifiers, one way. "" keeps it to oneself.
  std::optional<std::string> vendorIdentifier = {};

  std::optional<std::string> advertisingIdentifier = {};  ///< a UUID; none or "": the device has none
  bool advertisingTrackingEnabled = false;                ///< whether the user lets it be used for advertising

  std::optional<std::vector<std::string>> preferredLanguages = {};  ///< else the locale's
  std::optional<Screen> screen = {};                                ///< else the first connected one, if any
  int statusBarOrientation = 0;                                     ///< as Application says

  std::optional<std::uint32_t> reachabilityFlags = {};  ///< else from the kernel's routes
  bool locationServicesEnabled = false;                 ///< without them no position is ever searched
  int locationAuthorizationStatus = 0;                  ///< as Surroundings says

  std::optional<std::string> userAgent = {};  ///< of the browser that the user's links open in

  /// By name; none stands for a pasteboard without text.
  std::map<std::string, std::optional<std::string>, std::less<>> pasteboards = {};
};

}  // namespace fliprugair
