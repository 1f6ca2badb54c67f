#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Fliprugair/controlhost/HostSettings.h"
#include "Fliprugair/controlhost/ReceivedRequest.h"
#include "Fliprugair/platform/Value.h"

namespace fliprugair::controlhost {

struct HostAnswer {
  int status;
  std::string body;
  std::chrono::milliseconds delay;
  std::int64_t rule;  ///< the number of the rule that holds; -1: none does
};

/// Answers requests by the settings: those of the first rule that matches, or else the usual ones. Knows of each device
/// how often it asked what, and nothing of HTTP. Any thread.
class Answers {
 public:
  /// `usual` is asked at every request, until others are set.
  explicit Answers(std::function<HostSettings()> usual) : usual_(std::move(usual)) {}

  HostAnswer answer(const ReceivedRequest& request);

  void setUsual(HostSettings settings);
  void setInitReply(Value reply);
  void setRules(std::vector<AnswerRule> rules);
  /// False once others have been set.
  bool asksUsual() const;
  /// No rules, no settings but those given at the start, no device known.
  void reset();
  void forget(const std::string& device);

  Value json() const;
  /// Sets rules and usual settings from what json() gives. Returns what is wrong with it; then nothing has changed.
  std::vector<std::string> setJSON(const Value& json);

 private:
  struct Device {
    std::int64_t inits = 0;
    std::int64_t polls = 0;
  };
  struct Choice {
    HostSettings settings;
    std::int64_t rule;
  };

  Device& known(const std::string& device);
  Choice choice(const std::string& device, const std::string& app) const;
  Value initReply(const std::string& device, const HostSettings& settings);
  Value attributionReply(const std::string& device, const HostSettings::Attribution& settings);

  const std::function<HostSettings()> usual_;
  mutable std::mutex mutex_;  ///< around the rest
  std::optional<HostSettings> set_;
  std::vector<AnswerRule> rules_;
  std::map<std::string, Device> devices_;
};

}  // namespace fliprugair::controlhost
