#include "tools/controlhost/InitSettings.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "platform/json/RapidJSONSerialization.h"
#include "tools/controlhost/Finding.h"
#include "tools/controlhost/HostSettings.h"
#include "tools/controlhost/JSONProblem.h"

namespace fliprugair::controlhost {

namespace {

struct Range {
  std::int64_t least;
  std::int64_t most;
  std::int64_t usual;
  std::string_view unit;
};

struct Setting {
  std::string_view key;
  std::string_view kind;
  std::string_view what;
  std::string_view absent = "What the tracker has stays as it is.";
  bool isFlag = true;
  std::optional<Range> range = std::nullopt;  ///< of an integer
};

constexpr std::int64_t week = 604800;

const std::vector<Setting>& settings() {
  static const std::vector<Setting> all = {
      {.key = "marlune_app_id",
       .kind = "text",
       .what = "Replaces the application's identifier in all that follows; an empty text replaces nothing."},
      {.key = "marlune_device_id",
       .kind = "text",
       .what = "Replaces the device's identifier in all that follows; an empty text replaces nothing."},
      {.key = "mlinit_wait",
       .kind = "integer",
       .what = "How long a start asks for no settings again.",
       .range = Range{.least = 60, .most = week, .usual = 60, .unit = "s"}},
      {.key = "mltracker_wait",
       .kind = "integer",
       .what = "How long records wait for more before their batch leaves.",
       .range = Range{.least = 60, .most = week, .usual = 60, .unit = "s"}},
      {.key = "iad_attribution_attempts",
       .kind = "integer",
       .what = "How often search-ad details are asked for.",
       .range = Range{.least = 1, .most = 10, .usual = 3, .unit = ""}},
      {.key = "iad_attribution_wait",
       .kind = "integer",
       .what = "How long a repeated question for search-ad details may take.",
       .range = Range{.least = 1, .most = 120, .usual = 20, .unit = "s"}},
      {.key = "iad_retry_wait",
       .kind = "integer",
       .what = "The time before search-ad details are asked for again.",
       .range = Range{.least = 1, .most = 60, .usual = 10, .unit = "s"}},
      {.key = "send_id_updates",
       .kind = "boolean",
       .what = "Whether a new advertising identifier is reported.",
       .absent = "What the tracker has stays as it is; at first none is reported."},
      {.key = "resend_initial",
       .kind = "boolean",
       .what = "Whether the installation is reported again.",
       .absent = "The installation is reported again."},
      {.key = "location_accuracy",
       .kind = "integer",
       .what = "How exact a position has to be.",
       .absent = "50 holds. Read only while \"whitelist\" holds \"location\".",
       .range = Range{.least = 10, .most = 5000, .usual = 50, .unit = "m"}},
      {.key = "location_timeout",
       .kind = "integer",
       .what = "How long the search for a position may take.",
       .absent = "15 holds. Read only while \"whitelist\" holds \"location\".",
       .range = Range{.least = 3, .most = 60, .usual = 15, .unit = "s"}},
      {.key = "location_staleness",
       .kind = "integer",
       .what = "The least age of the last position before the next one is searched.",
       .absent = "15 holds. Read only while \"whitelist\" holds \"location\".",
       .range = Range{.least = 1, .most = 10080, .usual = 15, .unit = "min"}},
      {.key = "currency",
       .kind = "text",
       .what = "The currency of all events that follow.",
       .absent = "What the tracker has stays as it is; at first its option."},
      {.key = "session_tracking",
       .kind = "choice",
       .what = "Whether the begin and the end of sessions are reported.",
       .absent = "What the tracker has stays as it is; at first \"full\"."},
      {.key = "getattribution_wait",
       .kind = "integer",
       .what = "The time between the installation's report and the first question for its attribution.",
       .absent = "7 seconds; none before the first reply.",
       .range = Range{.least = 1, .most = 30, .usual = 7, .unit = "s"}},
      {.key = "success",
       .kind = "boolean",
       .what = "1 says that all is well. The rest is adopted in any case.",
       .absent = "Counts as a failure, which is only logged.",
       .isFlag = false},
      {.key = "msg",
       .kind = "texts",
       .what = "\"resonance_cascade\" in this list, while the installation is unreported: come back later, and adopt "
               "nothing.",
       .absent = "The reply is adopted.",
       .isFlag = false},
      {.key = "blacklist",
       .kind = "texts",
       .what = "What is not to be reported: idfa, idfv, fb_attribution_id, screen_size, screen_brightness, "
               "network_conn_type, device_orientation.",
       .isFlag = false},
      {.key = "eventname_blacklist", .kind = "texts", .what = "Events that are dropped.", .isFlag = false},
      {.key = "whitelist",
       .kind = "texts",
       .what = "\"location\" in this list switches position reports on, until a tracker is constructed.",
       .absent = "Position reports stay as they are.",
       .isFlag = false},
      {.key = "outside_services",
       .kind = "object",
       .what =
           "Services whose traces are looked for: in the app's own store (ios_nsud) and in its documents (ios_docs).",
       .absent = "No service is looked for.",
       .isFlag = false},
  };
  return all;
}

std::string placeOf(const Setting& setting) {
  return std::string(setting.isFlag ? "/flags/" : "/") + std::string(setting.key);
}

bool isLocation(const Setting& setting) { return setting.key.starts_with("location_"); }

Value effect(std::string path, std::string_view severity, Value becomes, std::string text) {
  return Value{
      {"path", std::move(path)}, {"severity", severity}, {"becomes", std::move(becomes)}, {"text", std::move(text)}};
}

/// The number that a tracker reads: from text only as far as 32 bits go.
std::int64_t numberOf(const Value& value) {
  if (!value.isText()) return value.integerValue();
  return std::clamp<std::int64_t>(value.integerValue(), INT32_MIN, INT32_MAX);
}

std::string shown(const Value& value) {
  return value.isText() ? '"' + value.text() + '"' : RapidJSONSerialization().textOfAny(value);
}

Value numberEffect(const Setting& setting, const Range& range, const Value& value, bool locationIsOn) {
  const std::string key(setting.key);
  const std::string bounds = std::to_string(range.least) + " to " + std::to_string(range.most);
  if (isLocation(setting) && !locationIsOn) {
    return effect(placeOf(setting), "note", {}, key + " is not read: \"whitelist\" does not hold \"location\".");
  }
  const bool numeric = value.isNumber() || value.isText();
  if (isLocation(setting) && !numeric) {
    return effect(placeOf(setting), "warning", range.usual,
                  key + " is " + inWords(value) + "; a tracker takes a number from " + bounds + ", and keeps " +
                      std::to_string(range.usual) + '.');
  }
  const std::int64_t becomes = std::clamp(numberOf(value), range.least, range.most);
  const bool isNumber = value.kind() == Value::Kind::integer || value.kind() == Value::Kind::real;
  const bool exact =
      isNumber ? value.realValue() == static_cast<double>(becomes) : value.text() == std::to_string(becomes);
  if (exact) return effect(placeOf(setting), "ok", becomes, key + " becomes " + std::to_string(becomes) + '.');
  return effect(placeOf(setting), "warning", becomes,
                key + " is " + (numeric ? shown(value) : inWords(value)) + "; a tracker takes " + bounds +
                    ", so it becomes " + std::to_string(becomes) + '.');
}

Value textEffect(const Setting& setting, const Value& value) {
  const std::string key(setting.key);
  if (setting.key == "currency") {
    if (value.isText()) return effect(placeOf(setting), "ok", value, "currency becomes " + shown(value) + '.');
    return effect(placeOf(setting), "warning", value,
                  "currency is " + inWords(value) + ", and is adopted as it is; it should be a text.");
  }
  if (setting.key == "session_tracking") {
    if (value.text() == "full" || value.text() == "none") {
      return effect(placeOf(setting), "ok", value, key + " becomes " + shown(value) + '.');
    }
    return effect(placeOf(setting), "warning", {},
                  key + " is " + inWords(value) + "; a tracker takes \"full\" or \"none\", and keeps what it has.");
  }
  if (!value.text().empty()) return effect(placeOf(setting), "ok", value, key + " becomes " + shown(value) + '.');
  return effect(placeOf(setting), "warning", {},
                key + " is " + inWords(value) + "; a tracker takes a text that is not empty, and keeps what it has.");
}

Value truthEffect(const Setting& setting, const Value& value) {
  const std::string key(setting.key);
  if (setting.key == "success") {
    const bool good = shown(value) == "1" || value.text() == "1" || value == Value(true);
    return good ? effect(placeOf(setting), "ok", 1, "The reply counts as a success.")
                : effect(placeOf(setting), "note", 0,
                         "The reply counts as a failure, which is only logged; all else is adopted.");
  }
  const bool truth = value.boolValue() || value.text() == "1";
  const std::string word = truth ? "true" : "false";
  const bool clear = value.isNumber() || value.text() == "0" || value.text() == "1";
  if (clear) return effect(placeOf(setting), "ok", truth, key + " becomes " + word + '.');
  return effect(placeOf(setting), "warning", truth,
                key + " is " + inWords(value) + "; a tracker takes true or false, and reads it as " + word + '.');
}

Value listEffect(const Setting& setting, const Value& value) {
  constexpr std::array<std::string_view, 7> honoured{"idfa",
                                                     "idfv",
                                                     "fb_attribution_id",
                                                     "screen_size",
                                                     "screen_brightness",
                                                     "network_conn_type",
                                                     "device_orientation"};
  const std::string key(setting.key);
  if (!value.isArray()) {
    return effect(placeOf(setting), "warning", {},
                  key + " is " + inWords(value) + "; a tracker takes a list of texts, and ignores it.");
  }
  if (setting.key == "msg") {
    if (!value.array().containsText("resonance_cascade"))
      return effect(placeOf(setting), "ok", {}, "msg says nothing to a tracker.");
    return effect(placeOf(setting), "note", {},
                  "While the installation is unreported, the tracker adopts nothing of this reply and asks again "
                  "after 10, 20, 30, then every 60 seconds; later it looks at the rest alone.");
  }
  if (setting.key == "whitelist") {
    const bool on = value.array().containsText("location");
    return effect(
        placeOf(setting), "ok", on,
        on ? "Position reports are switched on." : "Position reports stay as they are: nothing switches them off.");
  }
  if (setting.key == "blacklist") {
    for (const Value& item : value.array()) {
      if (std::find(honoured.begin(), honoured.end(), item.text()) != honoured.end()) continue;
      return effect(placeOf(setting), "note", value,
                    "blacklist holds " + inWords(item) + ", which a tracker does not know.");
    }
  }
  return effect(placeOf(setting), "ok", value, key + " has " + std::to_string(value.array().size()) + " entries.");
}

Value effectOf(const Setting& setting, const Value& value, bool locationIsOn) {
  if (setting.range) return numberEffect(setting, *setting.range, value, locationIsOn);
  if (setting.kind == "boolean") return truthEffect(setting, value);
  if (setting.kind == "texts") return listEffect(setting, value);
  if (setting.kind == "object") {
    return value.isDictionary()
               ? effect(placeOf(setting), "ok", {}, "Services are looked for.")
               : effect(placeOf(setting), "warning", {},
                        "outside_services is " + inWords(value) + "; a tracker takes an object, and ignores it.");
  }
  return textEffect(setting, value);
}

void addEffects(const Dictionary& members, bool flags, bool locationIsOn, std::vector<Value>& effects) {
  for (const Dictionary::Entry& entry : members.entries()) {
    if (!flags && entry.key() == "flags") continue;
    const auto found = std::find_if(settings().begin(), settings().end(), [&](const Setting& setting) {
      return setting.isFlag == flags && setting.key == entry.key();
    });
    if (found != settings().end()) {
      effects.push_back(
          entry.value.isNull()
              ? effect(placeOf(*found), "note", {},
                       entry.key() + " is null, which is as if it were absent: " + std::string(found->absent))
              : effectOf(*found, entry.value, locationIsOn));
      continue;
    }
    const bool elsewhere = std::any_of(settings().begin(), settings().end(),
                                       [&](const Setting& setting) { return setting.key == entry.key(); });
    const std::string hint = !elsewhere ? "."
                             : flags    ? "; it belongs beside \"flags\"."
                                        : "; it belongs into \"flags\".";
    effects.push_back(effect((flags ? "/flags/" : "/") + entry.key(), "warning", {},
                             entry.key() + " is not read there by a tracker" + hint));
  }
}

}  // namespace

Array initSettings() {
  std::vector<Value> list;
  for (const Setting& setting : settings()) {
    const std::optional<Range>& range = setting.range;
    list.push_back(Value{{"key", setting.key},
                         {"path", placeOf(setting)},
                         {"kind", setting.kind},
                         {"unit", range ? range->unit : ""},
                         {"min", range ? Value(range->least) : Value()},
                         {"max", range ? Value(range->most) : Value()},
                         {"default", range ? Value(range->usual) : Value()},
                         {"choices", setting.kind == "choice" ? Array{"full", "none"} : Array()},
                         {"what", setting.what},
                         {"absent", setting.absent}});
  }
  return Array(std::move(list));
}

Array effectsOf(const Value& reply) {
  std::vector<Value> effects;
  if (!reply.isDictionary()) {
    return Array{
        effect("", "warning", {},
               "The reply is " + inWords(reply) + "; a tracker takes an object, and does as if none had come.")};
  }
  const Dictionary members = reply.dictionary();
  const bool locationIsOn = members["whitelist"].array().containsText("location");
  const Value flags = members["flags"];
  addEffects(members, false, locationIsOn, effects);
  addEffects(flags.dictionary(), true, locationIsOn, effects);
  if (members.holds("flags") && !flags.isDictionary()) {
    effects.push_back(effect("/flags", "warning", {},
                             "flags is " + inWords(flags) + "; a tracker takes an object, and reads no setting."));
  }
  if (!members.holds("success"))
    effects.push_back(
        effect("/success", "note", {},
               "Without \"success\" the reply counts as a failure, which is only logged; all else is adopted."));
  if (!flags.dictionary().holds("resend_initial")) {
    effects.push_back(effect("/flags/resend_initial", "note", true,
                             "Without \"resend_initial\" the installation is reported again after every init reply."));
  }
  return Array(std::move(effects));
}

Value explained(std::string_view text) {
  const std::optional<Value> reply = RapidJSONSerialization().value(text);
  if (reply) {
    const std::vector<std::string> problems = settingsProblems(Value{{"init", *reply}});
    const Array refused(std::vector<Value>(problems.begin(), problems.end()));
    return Value{{"json", true}, {"problem", ""}, {"effects", effectsOf(*reply)}, {"refused", refused}};
  }
  return Value{
      {"json", false},
      {"problem", jsonProblem(text)},
      {"effects",
       Array{effect("", "warning", {},
                    "This is not JSON: a tracker does as if no reply had come, and asks again at its next start.")}},
      {"refused", Array()}};
}

}  // namespace fliprugair::controlhost
