#include "Fliprugair/core/Options.h"

#include <algorithm>
#include <array>

#include "platform/Joined.h"

namespace fliprugair {

namespace {

constexpr std::array<std::string_view, 13> keys = {
    "marluneAppId",    "partnerId",     "partnerName",
    "trackerHostname", "currency",      "limitAdTracking",
    "isNewUser",       "enableLogging", "retrieveAttribution",
    "customIdString",  "identityLink",  "generateAnonymousMarluneDeviceId",
    "versionExtension"};

std::string known() {
  std::string names;
  for (const std::string_view key : keys) names += (names.empty() ? "" : ", ") + std::string(key);
  return names;
}

}  // namespace

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

std::vector<std::string> Options::adviceOn(const Dictionary& given) {
  std::vector<std::string> lines;
  for (const Dictionary::Entry& option : given.entries()) {
    if (std::find(keys.begin(), keys.end(), option.key()) != keys.end()) continue;
    lines.push_back(joined({"Marlune library - there is no option \"", option.key(),
                            "\", so it has no effect. There are: ", known(), "."}));
  }
  return lines;
}

}  // namespace fliprugair
