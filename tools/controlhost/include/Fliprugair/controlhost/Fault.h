#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace fliprugair::controlhost {

/// What goes wrong on purpose with the requests that match.
struct Fault {
  enum class Kind {
    status,       ///< another HTTP status, and a body that says that it failed
    delay,        ///< the reply comes later
    hang,         ///< no reply; the connection stays open
    resetBefore,  ///< the connection is reset before the reply
    resetDuring,  ///< ... in the middle of it
    truncate,     ///< the connection ends in the middle of the reply
    garbage       ///< bytes that are no JSON in place of the reply
  };
  Kind kind = Kind::status;
  std::string action = {};             ///< "init", "initial", "update", "get_attribution" or "batch"; "": any
  std::string device = {};             ///< a device identifier; "": any
  std::string app = {};                ///< an application identifier; "": any
  int status = 503;                    ///< of Kind::status, from 200 to 599
  std::chrono::milliseconds delay{0};  ///< of Kind::delay
  std::int64_t times = 0;              ///< so often, and then no more; 0: without end
  int percent = 100;                   ///< of the requests that match, from 1 to 100
  std::int64_t hits = 0;               ///< how often it has struck
  std::int64_t id = 0;                 ///< given by the host; never used again
};

}  // namespace fliprugair::controlhost
