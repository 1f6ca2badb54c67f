#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace fliprugair {

/// The wall clock, never twice in the same microsecond: requests are filed under the microsecond in which they were
/// made, and two threads can be faster than that. Any thread.
class EventClock {
 public:
  /// Microseconds since 1970.
  std::int64_t now() {
    return distinct(
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::system_clock::now().time_since_epoch())
            .count());
  }

  /// `time`, or the first free microsecond behind it.
  std::int64_t distinct(std::int64_t time) {
    std::int64_t last = last_.load();
    std::int64_t next = 0;
    do {
      // What lies further ahead than calls can have driven it was read before the clock was set back.
      next = time <= last && last - time < mostAhead ? last + 1 : time;
    } while (!last_.compare_exchange_weak(last, next));
    return next;
  }

 private:
  static constexpr std::int64_t mostAhead = 100'000;

  std::atomic<std::int64_t> last_ = 0;
};

}  // namespace fliprugair
