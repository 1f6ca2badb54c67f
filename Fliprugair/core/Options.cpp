#include "Fliprugair/core/Options.h"

namespace fliprugair {

Options::Options(const Dictionary& given)
    : versionExtension(given["versionExtension"].text()),
      marluneAppId(given["marluneAppId"].text()),
      limitAdTracking(given["limitAdTracking"].boolValue()),
      isNewUser(given["isNewUser"].boolValue()),
      partnerId(given["partnerId"].text()),
      partnerName(given["partnerName"].text()),
      enableLogging(given["enableLogging"].boolValue()),
      retrieveAttribution(given["retrieveAttribution"].boolValue()),
      generateAnonymousMarluneDeviceId(given["generateAnonymousMarluneDeviceId"].boolValue()),
      customIdString(Text::of(given["customIdString"])) {
  if (const Value hostname = given["trackerHostname"]; hostname.isText()) trackerHostname = hostname.text();
  if (const Value code = given["currency"]; !code.text().empty()) currency = code.text();
  if (const Value link = given["identityLink"]; link.isDictionary()) identityLink = link;
}

}  // namespace fliprugair
