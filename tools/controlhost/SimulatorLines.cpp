#include "tools/controlhost/SimulatorLines.h"

#include <cmath>
#include <cstdlib>
#include <limits>

#include "tools/controlhost/InstallScript.h"
#include "tools/controlhost/SimulatorScript.h"
#include "tools/controlhost/UpdateScript.h"

namespace fliprugair::controlhost {

namespace {

SimulatorLines none(std::string reason) { return {"", std::move(reason)}; }

/// With times as a tracker gives them.
Dictionary timed(const std::string& action, Dictionary data) {
  for (const char* key : {"usertime", "uptime", "updelta", "last_post_time"}) {
    if (data.holds(key)) data = data.setting(key, "1");
  }
  if (action == "spatial") return data.setting("usertime", "1");
  if (action != "event" && action != "session" && action != "deeplink") return data;
  return data.setting("usertime", "1").setting("uptime", "1");
}

/// With the times and the envelope that it has when it is made again: what is still wrong then is what it says.
Value asMadeAgain(const Dictionary& record) {
  const std::string& action = record["action"].text();
  Dictionary made =
      Value{{"action", record["action"]}, {"marlune_app_id", "demo"}, {"marlune_device_id", "MI"}}.dictionary();
  if (action != "identityLink" && action != "spatial" && action != "deeplink") {
    made = made.setting("sdk_version", "ios-20160921").setting("sdk_protocol", "4");
  }
  if (record.holds("data_orig")) made = made.setting("data_orig", record["data_orig"]);
  const Value data = record["data"];
  if (data.isDictionary()) return made.setting("data", timed(action, data.dictionary()));
  return record.holds("data") ? made.setting("data", data) : made;
}

/// What an event takes from the store, where a tracker begins with something else.
void storeForEvent(SimulatorScript& script, const Dictionary& data) {
  if (!data.holds("event_data")) return;  // behind a missing value nothing is sent
  Dictionary set;
  std::vector<std::string> removed;
  if (!data.holds("currency"))
    removed.emplace_back("currency");
  else if (data["currency"] != Value("usd"))
    set = set.setting("currency", data["currency"]);
  if (data.holds("geo_lat")) set = set.setting("deviceLatitude", data["geo_lat"]);
  if (data.holds("geo_long")) set = set.setting("deviceLongitude", data["geo_long"]);
  script.store(set, removed);
}

SimulatorLines eventLines(const Dictionary& data) {
  if (data.holds("receipt") && data.holds("event_standard")) {
    return none("A tracker sends no receipt with a standard event.");
  }
  SimulatorScript script;
  storeForEvent(script, data);
  const Value name = data["event_name"];
  const Value value = data["event_data"];
  if (data.holds("receipt")) {
    script.call("trackEvent:withValue:andReceipt:", Array{name, value, data["receipt"]});
  } else if (data.holds("event_standard")) {
    // Takes the text as it came, be it an object's or not.
    script.call("trackEventWithEventTitleString:eventValueString:standardBool:", Array{name, value, true});
  } else {
    script.call("trackEvent::", Array{name, value});
  }
  return {script.text(), ""};
}

SimulatorLines identityLinkLines(const Dictionary& data) {
  if (data.size() == 1 && (data.holds("$url") || data.holds("$standard"))) {
    return none("The simulator takes an object with that one member for something else.");
  }
  return {SimulatorScript().call("identityLinkEvent:", Array{data}).text(), ""};
}

SimulatorLines spatialLines(const Dictionary& data) {
  std::vector<Value> arguments{data["event_name"]};
  for (const char* key : {"x", "y", "z"}) {
    const double number = std::strtod(data[key].text().c_str(), nullptr);
    if (std::isnan(number)) return none("A script has no number that is none, as \"" + std::string(key) + "\" is.");
    // What is too large for the tracker's own type is infinite there.
    const double largest = std::copysign(std::numeric_limits<double>::max(), number);
    arguments.emplace_back(std::isinf(number) ? largest : number);
  }
  return {SimulatorScript().call("spatialEvent::::", Array(std::move(arguments))).text(), ""};
}

std::string deepLinkLines(const Dictionary& data) {
  const bool hasLink = !data["uri"].text().empty();
  const Value link = hasLink ? Value{{"$url", data["uri"]}} : Value();
  return SimulatorScript().call("sendDeepLink::", Array{link, data["source_app"]}).text();
}

std::string sessionLines(const Dictionary& data) {
  const bool begins = data["state"].text() == "resume";
  return SimulatorScript().add("notify", {{"name", begins ? "did-become-active" : "will-resign-active"}}).text();
}

}  // namespace

SimulatorLines simulatorLines(const Value& record, const WireCheck& check) {
  if (!record.isDictionary()) return none("It is no object, and a tracker sends nothing else.");
  const Dictionary members = record.dictionary();
  for (const Finding& finding : check.findings(asMadeAgain(members))) {
    // What the schemas only warn of, a tracker sends when its host has told it to.
    const bool maySend = finding.code == "travel" || (finding.code == "schema" && finding.severity != Severity::error);
    if (!maySend) return none("A tracker does not send this: " + finding.text);
  }
  const std::string& action = members["action"].text();
  const Dictionary data = members["data"].dictionary();
  if (action == "event") return eventLines(data);
  if (action == "identityLink") return identityLinkLines(data);
  if (action == "spatial") return spatialLines(data);
  if (action == "deeplink") return {deepLinkLines(data), ""};
  if (action == "session") return {sessionLines(data), ""};
  if (action == "update") return updateScript(members);
  if (action == "init") return initScript(members);
  if (action == "initial") return installScript(members);
  return {attributionScript(members), ""};
}

}  // namespace fliprugair::controlhost
