#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "Fliprugair/platform/Value.h"

namespace fliprugair::controlhost {

/// What the control host answers. The defaults are those of a host without a settings file.
struct HostSettings {
  Value init = Value{{"success", 1}, {"flags", Value{{"resend_initial", false}}}};
  Value initial = Value{{"success", 1}};

  struct Attribution {
    std::int64_t polls = 0;   ///< questions of one device that are answered "not yet"
    std::int64_t retry = 15;  ///< seconds until it asks again
    Value answer = Value{{"network", "example"}, {"campaign", "example"}};  ///< null: "not yet" for ever
  };
  Attribution attribution;

  std::int64_t resonanceCascade = 0;       ///< init requests of one device that are told to come back later
  std::map<std::string, std::string> raw;  ///< replies by request kind that go out as they stand, JSON or not
  std::map<std::string, int> status;       ///< HTTP status by request kind, 200 for the others
  std::chrono::milliseconds delay{0};
};

/// What is wrong with a settings file, a line for each fault: where, what, and what would be right. Empty: nothing.
std::vector<std::string> settingsProblems(const Value& file);

/// What a file without problems says.
HostSettings settingsOf(const Value& file);

/// The settings as a file would say them, whole.
Value fileOf(const HostSettings& settings);

}  // namespace fliprugair::controlhost
