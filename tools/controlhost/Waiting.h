#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "Fliprugair/controlhost/Waited.h"
#include "tools/controlhost/RequestLog.h"

namespace fliprugair::controlhost {

/// Waits until `count` records behind the request `since` satisfy `match`, or `timeout` is over, or the log has ended.
/// Also until `isAbandoned` says that nobody wants to know any more; it is asked once in half a second.
/// When the terms of `match` cannot be meant, it does not wait, and the text says what is wrong with them.
Waited waitForRecords(const RequestLog& log, const std::string& match, std::int64_t count,
                      std::chrono::milliseconds timeout, std::int64_t since,
                      const std::function<bool()>& isAbandoned = {});

}  // namespace fliprugair::controlhost
