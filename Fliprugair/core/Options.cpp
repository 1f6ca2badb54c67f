#include "Fliprugair/core/Options.h"

#include <array>

#include "platform/Joined.h"
#include "platform/TextOrEmpty.h"

namespace fliprugair {

namespace {

constexpr std::string_view defaultTrackerHostname = "control.marlune.example";
constexpr std::string_view defaultCurrency = "usd";

constexpr std::array<std::string_view, 13> keys = {
    "marluneAppId",    "partnerId",     "partnerName",
    "trackerHostname", "currency",      "limitAdTracking",
    "isNewUser",       "enableLogging", "retrieveAttribution",
    "customIdString",  "identityLink",  "generateAnonymousMarluneDeviceId",
    "versionExtension"};

bool isKnown(std::string_view name) {
  for (const std::string_view key : keys) {
    if (key == name) return true;
  }
  return false;
}

Value text(const Dictionary& given, std::string_view key) { return textOrEmpty(given[key]); }

bool flag(const Dictionary& given, std::string_view key) { return given[key].boolValue(); }

std::string known() {
  std::string names;
  for (const std::string_view key : keys) {
    if (!names.empty()) names += ", ";
    names += key;
  }
  return names;
}

}  // namespace

Options::Options(const Dictionary& given)
    : trackerHostname(given["trackerHostname"]),
      versionExtension(text(given, "versionExtension")),
      marluneAppId(text(given, "marluneAppId")),
      currency(given["currency"]),
      partnerId(text(given, "partnerId")),
      partnerName(text(given, "partnerName")),
      limitAdTracking(flag(given, "limitAdTracking")),
      isNewUser(flag(given, "isNewUser")),
      enableLogging(flag(given, "enableLogging")),
      retrieveAttribution(flag(given, "retrieveAttribution")),
      generateAnonymousMarluneDeviceId(flag(given, "generateAnonymousMarluneDeviceId")),
      customIdString(Text::of(given["customIdString"])),
      identityLink(given["identityLink"]) {
  if (!trackerHostname.isText()) trackerHostname = defaultTrackerHostname;
  if (currency.text().empty()) currency = defaultCurrency;
  if (!identityLink.isDictionary()) identityLink = Value();
}

bool Options::hasIdentity() const {
  return !marluneAppId.text().empty() || (!partnerId.text().empty() && !partnerName.text().empty());
}

void Options::adviseOn(const Dictionary& given, FunctionRef<void(std::string_view)> advise) {
  for (const Dictionary::Entry& option : given.entries()) {
    if (isKnown(option.name)) continue;
    advise(joined({"Marlune library - there is no option \"", option.name,
                   "\", so it has no effect. There are: ", known(), "."}));
  }
}

}  // namespace fliprugair
