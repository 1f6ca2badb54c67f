#include "tools/controlhost/RequestLog.h"

#include <utility>

namespace fliprugair::controlhost {

Value LoggedRequest::dictionary() const {
  return Value{{"number", number},   {"received", received}, {"path", path},     {"action", action},
               {"records", records}, {"body", body},         {"status", status}, {"reply", reply}};
}

LoggedRequest RequestLog::add(LoggedRequest request) {
  const std::lock_guard lock(mutex_);
  request.number = ++count_;
  requests_.push_back(request);
  if (requests_.size() > capacity_) requests_.pop_front();
  return request;
}

std::vector<LoggedRequest> RequestLog::requests() const {
  const std::lock_guard lock(mutex_);
  return {requests_.begin(), requests_.end()};
}

std::int64_t RequestLog::count() const {
  const std::lock_guard lock(mutex_);
  return count_;
}

}  // namespace fliprugair::controlhost
