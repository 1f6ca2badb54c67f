#include "tools/controlhost/InstallScript.h"

#include <array>
#include <cstdlib>

#include "tools/controlhost/SimulatorScript.h"

namespace fliprugair::controlhost {

namespace {

// From which version of a system on a tracker reads or asks for something; 7.1 as a float lies just below itself.
constexpr double identifiersSince = 6;
constexpr double searchAdsSince = 7.0999;
constexpr double screenSizeSince = 8;

constexpr std::int64_t reachable = 2;
constexpr std::int64_t reachableByCell = 0x40002;

/// What the search-ad service says, and as what it is reported.
constexpr std::array<std::array<const char*, 2>, 4> searchAdDetails{{{"attributionDetails", "iad_attribution_details"},
                                                                     {"iAdAttribution", "iad_attribution"},
                                                                     {"appPurchaseDate", "app_purchase_date"},
                                                                     {"iAdImpressionDate", "iad_impression_date"}}};

constexpr const char* noIdentifiers = "it reads identifiers from version 6 of a system on.";

SimulatorLines impossible(const std::string& because) { return {"", "A tracker does not send this: " + because}; }

/// An identifier that a device may be without.
Value identifier(const Value& text) { return text.text().empty() ? Value() : text; }

Value identifiersOf(const Dictionary& data) {
  return Value{{"idfv", identifier(data["idfv"])}, {"idfa", identifier(data["idfa"])}};
}

Dictionary with(Dictionary fields, const Value& more) {
  for (const Dictionary::Entry& entry : more.dictionary().entries()) {
    fields = fields.setting(entry.key(), entry.value);
  }
  return fields;
}

std::int64_t sessionMode(const std::string& text) {
  constexpr std::int64_t neither = 3;
  if (text == "full") return 1;
  return text == "none" ? 2 : neither;
}

Dictionary optionsForInit(const Dictionary& record, const Dictionary& first) {
  const Dictionary data = record["data"].dictionary();
  const Value given{{"marluneAppId", first["marlune_app_id"]},
                    {"partnerId", data["partner_id"]},
                    {"partnerName", data["partner_name"]},
                    {"currency", first["currency"]},
                    {"versionExtension", optionsFor(record)["versionExtension"]}};
  Dictionary options;
  for (const Dictionary::Entry& entry : given.dictionary().entries()) {
    if (!entry.value.text().empty()) options = options.setting(entry.key(), entry.value);
  }
  return options;
}

/// Why no system of this version reports an installation so; "" when one may.
std::string contradiction(const Dictionary& data, double version) {
  const bool hasLimit = data.holds("device_limit_tracking");
  if (hasLimit != (version >= identifiersSince)) {
    return "it reads device_limit_tracking from version 6 of a system on.";
  }
  if (version < identifiersSince && (data.holds("idfv") || data.holds("idfa"))) return noIdentifiers;
  if (version < screenSizeSince && data.holds("disp_w")) {
    return "it reads the screen's size from version 8 of a system on.";
  }
  for (const auto& [detail, key] : searchAdDetails) {
    if (version < searchAdsSince && data.holds(key)) return "it asks for search ads from version 7.1 of a system on.";
  }
  if (data.holds("identity_link") && !data["identity_link"].isDictionary()) return "an identity link is an object.";
  return "";
}

Dictionary deviceOf(const Dictionary& data) {
  const std::string& language = data["language"].text();
  const std::string& connection = data["network_conn_type"].text();
  const auto pixels = [&](const char* key) { return Value(std::strtod(data[key].text().c_str(), nullptr)); };
  const Value bundle{{"CFBundleIdentifier", data["package_name"]},
                     {"CFBundleShortVersionString", data["app_short_string"]},
                     {"CFBundleVersion", data["app_version"]}};
  const Value screen{{"width", pixels("disp_w")},
                     {"height", pixels("disp_h")},
                     {"brightness", Value(data["screen_brightness"].realValue())}};
  // Without the pasteboard the text is empty; with one that holds no text there is none.
  const bool noPasteboard = data["fb_attribution_id"] == Value("");
  const Value pasteboards =
      noPasteboard ? Value(Dictionary()) : Value{{"fb_app_attribution", data["fb_attribution_id"]}};
  const std::int64_t flags = connection == "cellular" ? reachableByCell : reachable;
  return with(with(systemFields(data["os_version"].text()), identifiersOf(data)),
              {{"hardware", data["device"]},
               {"languages", language.empty() ? Array() : Array{language}},
               {"ad_tracking_enabled", data["device_limit_tracking"] != Value("1")},
               {"screen", screen},
               {"orientation", data["device_orientation"] == Value("landscape") ? 3 : 1},
               {"bundle", bundle},
               {"receipt", data["receipt"]},
               {"pasteboards", pasteboards},
               {"reachability", connection.empty() ? 0 : flags}});
}

/// What the host must have forbidden, as it is not reported.
Array blacklistOf(const Dictionary& data, double version) {
  Array list;
  const auto missing = [&](const char* key, const char* name, double since) {
    if (version >= since && !data.holds(key)) list = list.appending(name);
  };
  missing("idfv", "idfv", identifiersSince);
  missing("idfa", "idfa", identifiersSince);
  missing("disp_w", "screen_size", screenSizeSince);
  missing("screen_brightness", "screen_brightness", 0);
  missing("device_orientation", "device_orientation", 0);
  return list;
}

Dictionary optionsForInstall(const Dictionary& record) {
  const Dictionary data = record["data"].dictionary();
  Dictionary options = with(optionsFor(record), {{"limitAdTracking", data["app_limit_tracking"] == Value("1")},
                                                 {"isNewUser", data["new_user"] == Value("1")}});
  if (data.holds("custom_id")) options = options.setting("customIdString", data["custom_id"]);
  return data.holds("identity_link") ? options.setting("identityLink", data["identity_link"]) : options;
}

}  // namespace

SimulatorLines initScript(const Dictionary& record) {
  const Dictionary data = record["data"].dictionary();
  const Dictionary first = record["data_orig"].dictionary();
  const std::string& system = data["os_version"].text();
  if (system.empty() || first["currency"].text().empty()) return impossible("it has a currency from its start on.");
  const bool isNamed = !data["partner_id"].text().empty() && !data["partner_name"].text().empty();
  if (first["marlune_app_id"].text().empty() && !isNamed)
    return impossible("it starts with an application or a partner.");
  if (systemVersion(system) < identifiersSince && (data.holds("idfv") || data.holds("idfa"))) {
    return impossible(noIdentifiers);
  }
  const Value bundle{
      {"CFBundleIdentifier", data["package_name"]}, {"CFBundleShortVersionString", "1.0"}, {"CFBundleVersion", "100"}};
  const Value stored{{"origDeviceId", first["marlune_device_id"]},
                     {"currency", data["currency"]},
                     {"sessionTracking", sessionMode(data["session_tracking"].text())},
                     {"idfvBlacklisted", !data.holds("idfv")},
                     {"idfaBlacklisted", !data.holds("idfa")}};
  SimulatorScript script;
  script.add("device", with(with(systemFields(system), identifiersOf(data)), {{"bundle", bundle}}));
  script.store(with(identityOf(record), stored), {"watchProperties"});
  script.add("construct", {{"options", optionsForInit(record, first)}});
  return {script.text(), ""};
}

SimulatorLines installScript(const Dictionary& record) {
  const Dictionary data = record["data"].dictionary();
  const double version = systemVersion(data["os_version"].text());
  const std::string because = contradiction(data, version);
  if (!because.empty()) return impossible(because);
  SimulatorScript script;
  script.add("device", deviceOf(data));
  script.store(with(identityOf(record), {{"sendInitial", true}, {"currency", data["currency"]}}),
               {"watchProperties", "initialIdentityLink"});
  script.add("construct", {{"options", optionsForInstall(record)}});
  if (!data.holds("currency")) script.store({}, {"currency"});
  script.add("reply", {{"request", 1}, {"body", Value{{"success", 1}, {"blacklist", blacklistOf(data, version)}}}});
  if (version < searchAdsSince) return {script.text(), ""};
  Dictionary details;
  for (const auto& [detail, key] : searchAdDetails) {
    if (data.holds(key)) details = details.setting(detail, data[key]);
  }
  script.add("search_ad", {{"details", details.empty() ? Value() : Value(details)}});
  return {script.add("advance", {{"seconds", 1}}).text(), ""};
}

std::string attributionScript(const Dictionary& record) {
  SimulatorScript script;
  script.add("installed").store(identityOf(record));
  script.add("construct", {{"options", optionsFor(record).setting("retrieveAttribution", true)}});
  return script.add("advance", {{"seconds", 1}}).text();
}

}  // namespace fliprugair::controlhost
