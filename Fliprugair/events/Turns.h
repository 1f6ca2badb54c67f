#pragma once

#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace fliprugair {

/// Lets one at a time do a piece of work, and nobody wait for it: whoever comes while another is at it leaves its wish
/// behind, which the other then takes on. Any thread.
template <class Wish>
class Turns {
 public:
  /// Whether the caller is to do the work; it then asks next() until there is no other wish.
  bool begin(Wish wish) {
    const std::lock_guard lock(mutex_);
    if (!busy_) return busy_ = true;
    waiting_.push_back(std::move(wish));
    return false;
  }

  std::optional<Wish> next() {
    const std::lock_guard lock(mutex_);
    if (waiting_.empty()) {
      busy_ = false;
      return std::nullopt;
    }
    Wish wish = std::move(waiting_.front());
    waiting_.erase(waiting_.begin());
    return wish;
  }

 private:
  std::mutex mutex_;
  bool busy_ = false;
  std::vector<Wish> waiting_;
};

}  // namespace fliprugair
