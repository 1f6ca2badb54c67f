#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Fliprugair/platform/Text.h"

namespace fliprugair {

/// The options of a construction after reading: what is missing or of another type has its default.
struct Options {
  explicit Options(const Dictionary& given);

  /// A line for each key of `given` that no option has.
  static std::vector<std::string> adviceOn(const Dictionary& given);

  bool hasIdentity() const { return !marluneAppId.empty() || (!partnerId.empty() && !partnerName.empty()); }

  std::optional<std::string> trackerHostname;  ///< "" counts as given
  std::string versionExtension;
  std::string marluneAppId;
  std::string currency = "usd";
  bool limitAdTracking = false;
  bool isNewUser = false;
  std::string partnerId;
  std::string partnerName;
  bool enableLogging = false;
  bool retrieveAttribution = false;
  bool generateAnonymousMarluneDeviceId = false;
  Text customIdString;
  Value identityLink;  ///< a dictionary or null
};

}  // namespace fliprugair
