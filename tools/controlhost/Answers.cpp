#include "tools/controlhost/Answers.h"

#include <utility>

#include "platform/json/RapidJSONSerialization.h"
#include "tools/controlhost/Finding.h"
#include "tools/controlhost/HostSettings.h"

namespace fliprugair::controlhost {

namespace {

bool matches(const AnswerRule& rule, const std::string& device, const std::string& app) {
  return (rule.device.empty() || rule.device == device) && (rule.app.empty() || rule.app == app);
}

std::optional<AnswerRule> ruleOf(const Value& json, const std::string& place, std::vector<std::string>& problems) {
  const Dictionary members = json.dictionary();
  if (!json.isDictionary()) {
    problems.push_back(place + " is " + inWords(json) +
                       ", and should be an object, as {\"device\": \"\", \"settings\": {}}");
    return std::nullopt;
  }
  for (std::string& problem : unknownMembers(members, {"name", "device", "app", "settings"}, place + '.')) {
    problems.push_back(std::move(problem));
  }
  for (const std::string_view key : {"name", "device", "app"}) {
    if (members.holds(key) && !members[key].isText()) {
      problems.push_back(place + '.' + std::string(key) + " is " + inWords(members[key]) + ", and should be a text");
    }
  }
  const Value settings = members.holds("settings") ? members["settings"] : Value(Dictionary());
  for (const std::string& problem : settingsProblems(settings)) problems.push_back(place + ".settings: " + problem);
  return AnswerRule{members["name"].text(), members["device"].text(), members["app"].text(), settingsOf(settings)};
}

}  // namespace

HostAnswer Answers::answer(const ReceivedRequest& request) {
  const Choice chosen = choice(request.device, request.app);
  const HostSettings& settings = chosen.settings;
  const std::string& kind = request.action;
  const auto status = settings.status.find(kind);
  const int code = status == settings.status.end() ? 200 : status->second;
  Value reply{{"success", 1}};
  // A failure must not use up one of the counted answers.
  if (code >= 300) {
    reply = Value{{"success", 0}};
  } else if (kind == "init") {
    reply = initReply(request.device, settings);
  } else if (kind == "initial") {
    reply = settings.initial;
  } else if (kind == "get_attribution") {
    reply = attributionReply(request.device, settings.attribution);
  }
  const auto raw = settings.raw.find(kind);
  std::string text = raw == settings.raw.end() ? RapidJSONSerialization().textOfAny(reply) : raw->second;
  return {code, std::move(text), settings.delay, chosen.rule};
}

/// With the lock held. Who has more devices than that at once counts nobody's questions.
Answers::Device& Answers::known(const std::string& device) {
  constexpr std::size_t mostDevices = 10000;
  if (devices_.size() >= mostDevices && !devices_.contains(device)) devices_.erase(devices_.begin());
  return devices_[device];
}

Value Answers::initReply(const std::string& device, const HostSettings& settings) {
  const std::lock_guard lock(mutex_);
  if (known(device).inits++ >= settings.resonanceCascade) return settings.init;
  return Value{{"success", 0}, {"msg", Array{"resonance_cascade"}}};
}

Value Answers::attributionReply(const std::string& device, const HostSettings::Attribution& settings) {
  const std::lock_guard lock(mutex_);
  const bool early = known(device).polls++ < settings.polls;
  if (early || settings.answer.isNull()) {
    return Value{{"success", 1}, {"data", Value{{"retry", settings.retry}}}};
  }
  return Value{{"success", 1}, {"data", Value{{"retry", -1}, {"attribution", settings.answer}}}};
}

Answers::Choice Answers::choice(const std::string& device, const std::string& app) const {
  {
    const std::lock_guard lock(mutex_);
    for (std::size_t number = 0; number < rules_.size(); ++number) {
      if (matches(rules_[number], device, app)) return {rules_[number].settings, static_cast<std::int64_t>(number)};
    }
    if (set_) return {*set_, -1};
  }
  return {usual_(), -1};
}

void Answers::setUsual(HostSettings settings) {
  const std::lock_guard lock(mutex_);
  set_ = std::move(settings);
}

void Answers::setInitReply(Value reply) {
  HostSettings settings = usual_();
  const std::lock_guard lock(mutex_);
  if (!set_) set_ = std::move(settings);
  set_->init = std::move(reply);
  set_->raw.erase("init");
}

void Answers::setRules(std::vector<AnswerRule> rules) {
  const std::lock_guard lock(mutex_);
  rules_ = std::move(rules);
}

bool Answers::asksUsual() const {
  const std::lock_guard lock(mutex_);
  return !set_;
}

void Answers::reset() {
  const std::lock_guard lock(mutex_);
  set_.reset();
  rules_.clear();
  devices_.clear();
}

void Answers::forget(const std::string& device) {
  const std::lock_guard lock(mutex_);
  devices_.erase(device);
}

Value Answers::json() const {
  HostSettings usual = usual_();
  const std::lock_guard lock(mutex_);
  std::vector<Value> rules;
  for (const AnswerRule& rule : rules_) {
    rules.push_back(
        Value{{"name", rule.name}, {"device", rule.device}, {"app", rule.app}, {"settings", fileOf(rule.settings)}});
  }
  return Value{{"rules", Array(std::move(rules))}, {"default", fileOf(set_ ? *set_ : usual)}};
}

std::vector<std::string> Answers::setJSON(const Value& json) {
  const Dictionary members = json.dictionary();
  std::vector<std::string> problems = unknownMembers(members, {"rules", "default"}, "");
  if (!json.isDictionary()) problems.push_back("the answers are " + inWords(json) + ", and should be an object");
  std::vector<AnswerRule> rules;
  if (members.holds("rules") && !members["rules"].isArray()) {
    problems.push_back("rules is " + inWords(members["rules"]) + ", and should be a list");
  }
  for (const Value& rule : members["rules"].array()) {
    if (auto one = ruleOf(rule, "rules[" + std::to_string(rules.size()) + ']', problems))
      rules.push_back(std::move(*one));
  }
  std::optional<HostSettings> usual;
  if (members.holds("default")) {
    const auto found = settingsProblems(members["default"]);
    for (const std::string& problem : found) problems.push_back("default: " + problem);
    if (found.empty()) usual = settingsOf(members["default"]);
  }
  if (!problems.empty()) return problems;
  const std::lock_guard lock(mutex_);
  rules_ = std::move(rules);
  if (usual) set_ = std::move(usual);
  return problems;
}

}  // namespace fliprugair::controlhost
