#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

#include "Fliprugair/platform/Value.h"

namespace fliprugair::controlhost {

/// What the control host answers. The defaults are those of a host without a settings file. Kinds of requests are
/// "init", "initial", "update", "get_attribution" and "batch".
struct HostSettings {
  /// The replies to these two, as they stand.
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
  std::chrono::milliseconds delay{0};      ///< time that every reply takes
};

/// Other settings for one device or one application. The first rule that matches a request holds.
struct AnswerRule {
  std::string name = {};    ///< shown on the page
  std::string device = {};  ///< a device identifier; "": all
  std::string app = {};     ///< an application identifier; "": all
  HostSettings settings;
};

}  // namespace fliprugair::controlhost
