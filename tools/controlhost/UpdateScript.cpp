#include "tools/controlhost/UpdateScript.h"

#include "tools/controlhost/SimulatorScript.h"

namespace fliprugair::controlhost {

namespace {

/// A number in a keyed archive.
constexpr const char* anyArchive =
    "YnBsaXN0MDDUAQIDBAUGCQxZJGFyY2hpdmVyWCRvYmplY3RzVCR0b3BYJHZlcnNpb25fEA9OU0tleWVkQXJjaGl2ZXKiBwhVJG51bGwQB9EKC1Ry"
    "b290gAESAAGGoAgRGyQpMkRHTU9SV1kAAAAAAAABAQAAAAAAAAANAAAAAAAAAAAAAAAAAAAAXg==";

/// A tracker that has reported its installation asks for settings, and is answered with `settings`.
SimulatorScript answered(const Dictionary& record, const Dictionary& settings) {
  SimulatorScript script;
  script.add("installed").store(identityOf(record).setting("lastMLInitSent", 0));
  script.add("construct", {{"options", optionsFor(record)}});
  Dictionary reply = Value{{"success", 1}, {"flags", Value{{"resend_initial", false}}}}.dictionary();
  for (const Dictionary::Entry& entry : settings.entries()) reply = reply.setting(entry.key(), entry.value);
  return script.add("reply", {{"request", 1}, {"body", reply}});
}

std::string locationScript(const Dictionary& record, const Dictionary& place) {
  const Value fix{{"latitude", place["lat"]}, {"longitude", place["lon"]}, {"accuracy", place["acc"]}};
  return answered(record, Value{{"whitelist", Array{"location"}}}.dictionary()).add("location", {{"fix", fix}}).text();
}

/// A service is found by what it stored, and once more by a file of its own.
SimulatorLines servicesScript(const Dictionary& record, const Array& names) {
  Dictionary stored;
  Dictionary files;
  for (const Value& name : names) {
    if (files.empty() && !stored.holds(name.text())) {
      stored = stored.setting(name.text(), Array{"com.marlune.MarluneTracker.deviceId"});
    } else if (!files.holds(name.text())) {
      files = files.setting(name.text(), Array{"any.archive"});
    } else {
      return {"", "A tracker does not send this: it finds a service twice at most."};
    }
  }
  SimulatorScript script;
  if (!files.empty()) script.add("device", {{"documents", Value{{"any.archive", anyArchive}}}});
  const Value services{{"ios_nsud", stored}, {"ios_docs", files}};
  const std::string rest = answered(record, Value{{"outside_services", services}}.dictionary()).text();
  return {script.text() + (files.empty() ? "" : "\n") + rest, ""};
}

/// The device as it will be: what has changed, and for the rest what the lines agree upon.
Dictionary deviceAfter(const Dictionary& data) {
  const auto now = [&](const char* key, const char* otherwise) {
    return data.holds(key) ? data[key].text() : std::string(otherwise);
  };
  const std::string language = now("language", "en");
  Dictionary device = systemFields(now("os_version", "iOS 9.3"))
                          .setting("languages", language.empty() ? Array() : Array{language})
                          .setting("bundle", Value{{"CFBundleIdentifier", "com.example.app"},
                                                   {"CFBundleShortVersionString", now("app_short_string", "1.0")},
                                                   {"CFBundleVersion", now("app_version", "100")}});
  return data.holds("idfa") ? device.setting("idfa", data["idfa"]) : device;
}

/// What was reported before, so that exactly what `data` names has changed.
Dictionary reportedBefore(const Dictionary& data) {
  Dictionary reported;
  for (const char* flag : {"app_limit_tracking", "device_limit_tracking"}) {
    reported = reported.setting(flag, data[flag] == Value("0") ? "1" : "0");
  }
  const Value rest{{"app_short_string", "1.0"},
                   {"app_version", "100"},
                   {"is_genuine", "1"},
                   {"language", "en"},
                   {"os_version", "iOS 9.3"}};
  for (const Dictionary::Entry& entry : rest.dictionary().entries()) {
    if (!data.holds(entry.key())) reported = reported.setting(entry.key(), entry.value);
  }
  return reported;
}

SimulatorLines propertiesScript(const Dictionary& data) {
  if (data["is_genuine"] == Value("0")) {
    return {"", "A tracker does not send this: it takes every system for genuine."};
  }
  SimulatorScript script;
  script.add("device", deviceAfter(data));
  script.store(Value{{"watchProperties", reportedBefore(data)},
                     {"app_limit_tracking", false},
                     {"device_limit_tracking", data["device_limit_tracking"] == Value("1")},
                     {"sendIdUpdates", data.holds("idfa")}}
                   .dictionary(),
               {"idfa"});
  if (data.holds("app_limit_tracking")) {
    script.call("setLimitAdTracking:", Array{data["app_limit_tracking"] == Value("1")});
  } else {
    script.call("checkWatchPropertiesChanged");
  }
  return {script.text(), ""};
}

}  // namespace

SimulatorLines updateScript(const Dictionary& record) {
  const Dictionary data = record["data"].dictionary();
  const bool isReport = data.holds("location") || data.holds("outside_services");
  if (isReport && data.size() > 1) {
    return {"", "A tracker does not send this: a position and the services found are an update each."};
  }
  if (data.holds("location")) return {locationScript(record, data["location"].dictionary()), ""};
  if (data.holds("outside_services")) return servicesScript(record, data["outside_services"].array());
  return propertiesScript(data);
}

}  // namespace fliprugair::controlhost
