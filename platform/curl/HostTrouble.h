#pragma once

#include <chrono>
#include <cstddef>
#include <optional>

namespace fliprugair {

/// Whether one control host may be sent to, decided from how its last requests ended and the time of the question.
///
/// Five failures in a row are trouble, and so is a single one that names a time ("Retry-After"). Until the pause that
/// belongs to the trouble is over nothing is sent; then one request tries whether the host is well, while the others
/// wait for its end. An answer ends the trouble, another failure begins a pause twice as long.
class HostTrouble {
 public:
  using Time = std::chrono::steady_clock::time_point;
  using Seconds = std::chrono::seconds;

  static constexpr std::size_t failuresAllowed = 4;
  static constexpr Seconds shortestPause{1};
  static constexpr Seconds longestPause{60};            ///< of those that no host has named
  static constexpr Seconds longestNamedPause{60 * 60};  ///< so that no typing error switches an application off

  enum class Answer {
    send,
    wait,  ///< until the end of a request that has been sent
    refuse,
  };

  /// `send` counts as done: `answered`, `failed` or `notSent` must follow.
  Answer ask(Time now);

  /// The host has dealt with a request, accepting it or not.
  void answered();

  /// A request has not reached the host, or was turned away by it. `retryAfter` is 0 when the host named no time.
  void failed(Time now, Seconds retryAfter);

  /// A request has come to nothing here, which says nothing of the host.
  void notSent() { --sent_; }

  /// What is left of the pause.
  Seconds pauseLeft(Time now) const;

 private:
  bool isPausing(Time now) const { return pauseEnd_ && now < *pauseEnd_; }

  std::size_t sent_ = 0;  ///< and not ended
  std::size_t failuresInARow_ = 0;
  Seconds nextPause_ = shortestPause;
  std::optional<Time> pauseEnd_;  ///< while in trouble
};

}  // namespace fliprugair
