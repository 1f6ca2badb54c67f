#include "tools/controlhost/HostSettings.h"

#include <algorithm>
#include <functional>

#include "tools/controlhost/Finding.h"

namespace fliprugair::controlhost {

namespace {

/// "" when `value` is right, else what would be.
using Check = std::function<std::string(const Value&)>;

/// What may stand under a key. An object's members are checked in turn.
struct Rule {
  std::string key;
  Check check;
  std::vector<Rule> members = {};
};

Check integerBetween(std::int64_t least, std::int64_t most) {
  return [least, most](const Value& value) -> std::string {
    if (isWhole(value) && value.integerValue() >= least && value.integerValue() <= most) return "";
    return "a whole number from " + std::to_string(least) + " to " + std::to_string(most);
  };
}

std::string number(const Value& value) {
  if (isWhole(value) || value.kind() == Value::Kind::real) return "";
  const std::string& text = value.text();
  const bool numeric = !text.empty() && text.find_first_not_of("0123456789", text[0] == '-') == std::string::npos;
  return numeric && text != "-" ? "" : "a number, or its text, as 60 or \"60\"";
}

std::string truth(const Value& value) {
  return value.isNumber() || value.isText() ? ""
                                            : "true or false, as a boolean, a number or a text, as false, 0 or \"0\"";
}

std::string text(const Value& value) {
  return value.isText() && !value.text().empty() ? "" : "a text that is not empty";
}

std::string anyText(const Value& value) { return value.isText() ? "" : "a text, sent as it stands"; }

std::string texts(const Value& value) {
  bool good = value.isArray();
  for (const Value& item : value.array()) good = good && item.isText();
  return good ? "" : "a list of texts, as [\"idfa\", \"idfv\"]";
}

std::string object(const Value& value) { return value.isDictionary() ? "" : "an object, as {}"; }

std::string textOrTexts(const Value& value) {
  return value.isText() || texts(value).empty() ? "" : "a text or a list of texts, as [\"resonance_cascade\"]";
}

std::string sessionTracking(const Value& value) {
  return value.text() == "full" || value.text() == "none" ? "" : "\"full\" or \"none\"";
}

std::string answer(const Value& value) {
  const bool good = value.isDictionary() || value.isNull() || value.text() == "false";
  return good ? "" : "an object (the attribution), \"false\" (there is none) or null (never an answer)";
}

std::string service(const Value& value) {
  bool good = value.isDictionary();
  for (const Dictionary::Entry& entry : value.dictionary().entries()) good = good && texts(entry.value).empty();
  return good ? "" : "an object of lists of texts by service, as {\"service\": [\"name\"]}";
}

const std::vector<Rule>& fileRules() {
  const Check status = integerBetween(200, 599);
  static const std::vector<Rule> rules = {
      {"init",
       object,
       {{"success", truth},
        {"msg", textOrTexts},
        {"flags",
         object,
         {{"marlune_app_id", text},
          {"marlune_device_id", text},
          {"mlinit_wait", number},
          {"mltracker_wait", number},
          {"iad_attribution_attempts", number},
          {"iad_attribution_wait", number},
          {"iad_retry_wait", number},
          {"send_id_updates", truth},
          {"resend_initial", truth},
          {"location_accuracy", number},
          {"location_timeout", number},
          {"location_staleness", number},
          {"currency", text},
          {"session_tracking", sessionTracking},
          {"getattribution_wait", number}}},
        {"blacklist", texts},
        {"eventname_blacklist", texts},
        {"whitelist", texts},
        {"outside_services", object, {{"ios_nsud", service}, {"ios_docs", service}}}}},
      {"initial", object},
      {"attribution",
       object,
       {{"polls", integerBetween(0, 1000000)}, {"retry", integerBetween(0, 604800)}, {"answer", answer}}},
      {"resonance_cascade", integerBetween(0, 1000000)},
      {"raw",
       object,
       {{"init", anyText},
        {"initial", anyText},
        {"update", anyText},
        {"get_attribution", anyText},
        {"batch", anyText}}},
      {"status",
       object,
       {{"init", status}, {"initial", status}, {"update", status}, {"get_attribution", status}, {"batch", status}}},
      {"delay_ms", integerBetween(0, 600000)},
  };
  return rules;
}

void check(const Dictionary& object, const std::vector<Rule>& rules, const std::string& place,
           std::vector<std::string>& problems) {
  for (const Dictionary::Entry& entry : object.entries()) {
    const std::string path = place + entry.key();
    const auto rule = std::find_if(rules.begin(), rules.end(), [&](const Rule& one) { return one.key == entry.key(); });
    if (rule == rules.end()) {
      std::vector<std::string_view> known;
      known.reserve(rules.size());
      for (const Rule& one : rules) known.emplace_back(one.key);
      problems.push_back(notKnown(path, known));
      continue;
    }
    const std::string right = rule->check(entry.value);
    if (!right.empty()) {
      problems.push_back(path + " is " + inWords(entry.value) + ", and should be " + right);
    } else if (!rule->members.empty()) {
      check(entry.value.dictionary(), rule->members, path + ".", problems);
    }
  }
}

}  // namespace

std::vector<std::string> settingsProblems(const Value& file) {
  if (!file.isDictionary()) {
    return {"the file is " + inWords(file) + ", and should be an object, as {\"init\": {\"success\": 1}}"};
  }
  std::vector<std::string> problems;
  check(file.dictionary(), fileRules(), "", problems);
  return problems;
}

HostSettings settingsOf(const Value& file) {
  HostSettings settings;
  const Dictionary members = file.dictionary();
  if (members.holds("init")) settings.init = members["init"];
  if (members.holds("initial")) settings.initial = members["initial"];
  const Dictionary attribution = members["attribution"].dictionary();
  if (attribution.holds("polls")) settings.attribution.polls = attribution["polls"].integerValue();
  if (attribution.holds("retry")) settings.attribution.retry = attribution["retry"].integerValue();
  if (attribution.holds("answer")) settings.attribution.answer = attribution["answer"];
  settings.resonanceCascade = members["resonance_cascade"].integerValue();
  for (const Dictionary::Entry& entry : members["raw"].dictionary().entries()) {
    settings.raw[entry.key()] = entry.value.text();
  }
  for (const Dictionary::Entry& entry : members["status"].dictionary().entries()) {
    settings.status[entry.key()] = static_cast<int>(entry.value.integerValue());
  }
  settings.delay = std::chrono::milliseconds(members["delay_ms"].integerValue());
  return settings;
}

Value fileOf(const HostSettings& settings) {
  std::vector<std::pair<std::string, Value>> raw(settings.raw.begin(), settings.raw.end());
  std::vector<std::pair<std::string, Value>> status(settings.status.begin(), settings.status.end());
  return Value{{"init", settings.init},
               {"initial", settings.initial},
               {"attribution", Value{{"polls", settings.attribution.polls},
                                     {"retry", settings.attribution.retry},
                                     {"answer", settings.attribution.answer}}},
               {"resonance_cascade", settings.resonanceCascade},
               {"raw", Dictionary(std::move(raw))},
               {"status", Dictionary(std::move(status))},
               {"delay_ms", static_cast<std::int64_t>(settings.delay.count())}};
}

}  // namespace fliprugair::controlhost
