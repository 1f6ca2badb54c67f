#pragma once

#include <algorithm>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace fliprugair {

/// The timestamps of requests that are entered in the network queue and not yet with their collaborator, which lists
/// them from then on. Whoever offers queued requests again leaves these out. Any thread.
class OnTheWay {
 public:
  void add(const std::string& eventTimestamp) {
    const std::lock_guard lock(mutex_);
    timestamps_.push_back(eventTimestamp);
  }
  void remove(std::string_view eventTimestamp) {
    const std::lock_guard lock(mutex_);
    const auto found = std::find(timestamps_.begin(), timestamps_.end(), eventTimestamp);
    if (found != timestamps_.end()) timestamps_.erase(found);
  }
  bool has(std::string_view eventTimestamp) const {
    const std::lock_guard lock(mutex_);
    return std::find(timestamps_.begin(), timestamps_.end(), eventTimestamp) != timestamps_.end();
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> timestamps_;
};

}  // namespace fliprugair
