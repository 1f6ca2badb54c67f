#pragma once

#include <string_view>

#include "Fliprugair/platform/Text.h"
#include "platform/FunctionRef.h"

namespace fliprugair {

/// The options of a construction after reading: what is missing or of another type has its default.
struct Options {
  explicit Options(const Dictionary& given);

  /// Gives `advise` a line for each key of `given` that no option has.
  static void adviseOn(const Dictionary& given, FunctionRef<void(std::string_view)> advise);

  bool hasIdentity() const;

  // Texts.
  Value trackerHostname;  ///< "" counts as given
  Value versionExtension;
  Value marluneAppId;
  Value currency;
  Value partnerId;
  Value partnerName;

  bool limitAdTracking;
  bool isNewUser;
  bool enableLogging;
  bool retrieveAttribution;
  bool generateAnonymousMarluneDeviceId;
  Text customIdString;
  Value identityLink;  ///< a dictionary or null
};

}  // namespace fliprugair
