#include "tools/swarm/HostModel.h"

namespace fliprugair::swarm {

namespace {

constexpr double shortestReply = 0.05;  ///< seconds
constexpr double meanBeyond = 0.1;
constexpr Time refusal = second / 20;
constexpr double finalAnswers = 0.5;

Value initReply(const HostOptions& options) {
  Dictionary flags({{"resend_initial", false}});
  if (options.initWait) flags = flags.setting("mlinit_wait", *options.initWait);
  if (options.batchWait) flags = flags.setting("mltracker_wait", *options.batchWait);
  return {{"success", 1}, {"flags", flags}};
}

}  // namespace

HostModel::HostModel(const HostOptions& options) : outage_(options.outage), initReply_(initReply(options)) {}

HostModel::Answer HostModel::answer(Time now, const Value& payload, Random chance) const {
  const Time after = fromSeconds(shortestReply + chance.exponential(meanBeyond));
  if (!outage_ || now < outage_->begin || now >= outage_->end) return {true, true, after, replyTo(payload, chance)};
  if (outage_->kind == Outage::Kind::lose) return {true, false, after, {}};
  if (outage_->kind == Outage::Kind::backOff && payload.dictionary()["action"] == Value("init")) {
    return {true, true, after, {{"success", 0}, {"msg", Array{"resonance_cascade"}}}};
  }
  return {false, false, refusal, {}};
}

Value HostModel::replyTo(const Value& payload, Random& chance) const {
  const std::string action = payload.dictionary()["action"].text();
  if (action == "init") return initReply_;
  if (action != "get_attribution") return {{"success", 1}};
  if (!chance.chance(finalAnswers)) return {{"success", 1}, {"data", Value{{"retry", 30}}}};
  return {{"success", 1}, {"data", Value{{"retry", -1}, {"attribution", Value{{"network", "swarm"}}}}}};
}

}  // namespace fliprugair::swarm
