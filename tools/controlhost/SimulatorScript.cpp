#include "tools/controlhost/SimulatorScript.h"

#include <cstdlib>

#include "platform/json/RapidJSONSerialization.h"

namespace fliprugair::controlhost {

namespace {

constexpr std::string_view release = "ios-20160921";

std::string stored(std::string_view name) { return "com.marlune.MarluneTracker." + std::string(name); }

/// A name may hold blanks, a version seldom does.
std::size_t blankIn(const std::string& system) { return system.rfind(' '); }

}  // namespace

SimulatorScript& SimulatorScript::add(std::string_view command, const Value& members) {
  Dictionary line = Value{{"do", command}}.dictionary();
  for (const Dictionary::Entry& member : members.dictionary().entries()) {
    line = line.setting(member.key(), member.value);
  }
  text_ += (text_.empty() ? "" : "\n") + RapidJSONSerialization().textOfAny(line);
  return *this;
}

SimulatorScript& SimulatorScript::call(std::string_view selector, Array arguments) {
  return add("call", {{"method", selector}, {"args", std::move(arguments)}});
}

SimulatorScript& SimulatorScript::store(const Dictionary& set, const std::vector<std::string>& removed) {
  Dictionary values;
  for (const Dictionary::Entry& entry : set.entries()) values = values.setting(stored(entry.key()), entry.value);
  std::vector<Value> keys;
  keys.reserve(removed.size());
  for (const std::string& name : removed) keys.emplace_back(stored(name));
  if (keys.empty() && values.empty()) return *this;
  if (keys.empty()) return add("store", {{"set", values}});
  if (values.empty()) return add("store", {{"remove", Array(std::move(keys))}});
  return add("store", {{"set", values}, {"remove", Array(std::move(keys))}});
}

Dictionary optionsFor(const Dictionary& record) {
  const std::string& app = record["marlune_app_id"].text();
  Dictionary options;
  if (app.empty()) {
    options = Value{{"partnerId", "partner"}, {"partnerName", "Partner"}}.dictionary();
  } else {
    options = options.setting("marluneAppId", app);
  }
  const std::string& version = record["sdk_version"].text();
  if (!version.starts_with(release) || version == release) return options;
  return options.setting("versionExtension", version.substr(release.size()));
}

Dictionary identityOf(const Dictionary& record) {
  Dictionary identity;
  const std::string& device = record["marlune_device_id"].text();
  const std::string& app = record["marlune_app_id"].text();
  if (!device.empty()) identity = identity.setting("deviceId", device);
  return app.empty() ? identity : identity.setting("appId", app);
}

Dictionary systemFields(const std::string& system) {
  const std::size_t blank = blankIn(system);
  return Value{{"system_name", system.substr(0, blank)}, {"system_version", system.substr(blank + 1)}}.dictionary();
}

double systemVersion(const std::string& system) {
  const char* version = system.c_str() + blankIn(system) + 1;
  return *version >= '0' && *version <= '9' ? std::strtof(version, nullptr) : 0;  // "nan" and "inf" are none
}

}  // namespace fliprugair::controlhost
