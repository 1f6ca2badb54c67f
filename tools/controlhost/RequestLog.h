#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "Fliprugair/platform/Value.h"

namespace fliprugair::controlhost {

/// One request as it arrived and was answered.
struct LoggedRequest {
  std::int64_t number = 0;  ///< counts from 1
  double received = 0;      ///< seconds since 1970
  std::string path;
  std::string action;        ///< or "batch"; "" when the body is no request
  std::int64_t records = 0;  ///< of a batch; 1 for any other request
  Value body;                ///< text when it is not JSON
  int status = 0;
  Value reply;

  /// As the host serves it: the members above by their names, in their order.
  Value dictionary() const;
};

/// The latest requests, up to a number of them. Any thread.
class RequestLog {
 public:
  explicit RequestLog(std::size_t capacity) : capacity_(capacity) {}

  /// Numbers the request, drops the oldest one when there is no room, and returns what was logged.
  LoggedRequest add(LoggedRequest request);

  /// The oldest first.
  std::vector<LoggedRequest> requests() const;

  /// All that ever came.
  std::int64_t count() const;

 private:
  const std::size_t capacity_;
  mutable std::mutex mutex_;
  std::deque<LoggedRequest> requests_;
  std::int64_t count_ = 0;
};

}  // namespace fliprugair::controlhost
