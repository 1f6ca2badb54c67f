#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "Fliprugair/platform/Value.h"
#include "tools/controlhost/HostSettings.h"

namespace fliprugair::controlhost {

/// What a request is called in the log and in the settings: its "action", or "batch".
std::string kindOf(const Value& request);

/// The "marlune_device_id" of a request, or of the first record of a batch; "" when there is none.
std::string deviceOf(const Value& request);

struct HostAnswer {
  int status;
  Value reply;
};

/// Answers requests by the settings. Knows of each device how often it asked what, and nothing of HTTP. Any thread.
class ControlHost {
 public:
  /// `request` is an object, or the array of a batch.
  HostAnswer answer(const Value& request, const HostSettings& settings);

 private:
  struct Device {
    std::int64_t inits = 0;
    std::int64_t polls = 0;
  };

  Value initReply(const std::string& device, const HostSettings& settings);
  Value attributionReply(const std::string& device, const HostSettings::Attribution& settings);

  std::mutex mutex_;
  std::map<std::string, Device> devices_;
};

}  // namespace fliprugair::controlhost
