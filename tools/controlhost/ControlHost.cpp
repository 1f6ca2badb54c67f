#include "tools/controlhost/ControlHost.h"

namespace fliprugair::controlhost {

std::string kindOf(const Value& request) { return request.isArray() ? "batch" : request.dictionary()["action"].text(); }

std::string deviceOf(const Value& request) {
  const Array records = request.array();
  const Value first = records.empty() ? request : records[0];
  return first.dictionary()["marlune_device_id"].text();
}

HostAnswer ControlHost::answer(const Value& request, const HostSettings& settings) {
  const std::string kind = kindOf(request);
  const auto status = settings.status.find(kind);
  const int code = status == settings.status.end() ? 200 : status->second;
  // A failure must not use up one of the counted answers.
  if (code >= 300) return {code, Value{{"success", 0}}};
  if (kind == "init") return {code, initReply(deviceOf(request), settings)};
  if (kind == "initial") return {code, settings.initial};
  if (kind == "get_attribution") return {code, attributionReply(deviceOf(request), settings.attribution)};
  return {code, Value{{"success", 1}}};
}

Value ControlHost::initReply(const std::string& device, const HostSettings& settings) {
  const std::lock_guard lock(mutex_);
  if (devices_[device].inits++ >= settings.resonanceCascade) return settings.init;
  return Value{{"success", 0}, {"msg", Array{"resonance_cascade"}}};
}

Value ControlHost::attributionReply(const std::string& device, const HostSettings::Attribution& settings) {
  const std::lock_guard lock(mutex_);
  const bool early = devices_[device].polls++ < settings.polls;
  if (early || settings.answer.isNull()) {
    return Value{{"success", 1}, {"data", Value{{"retry", settings.retry}}}};
  }
  return Value{{"success", 1}, {"data", Value{{"retry", -1}, {"attribution", settings.answer}}}};
}

}  // namespace fliprugair::controlhost
