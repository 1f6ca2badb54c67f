#include "platform/curl/HostTrouble.h"

#include <algorithm>

namespace fliprugair {

HostTrouble::Answer HostTrouble::ask(Time now) {
  if (isPausing(now)) return Answer::refuse;
  if (pauseEnd_ && sent_ > 0) return Answer::wait;
  ++sent_;
  return Answer::send;
}

void HostTrouble::answered() {
  --sent_;
  failuresInARow_ = 0;
  nextPause_ = shortestPause;
  pauseEnd_.reset();
}

void HostTrouble::failed(Time now, Seconds retryAfter) {
  --sent_;
  ++failuresInARow_;
  const Time namedEnd = now + std::clamp(retryAfter, Seconds(0), longestNamedPause);
  if (isPausing(now)) {  // sent before the trouble began, so it only tells what was known
    pauseEnd_ = std::max(*pauseEnd_, namedEnd);
  } else if (retryAfter > Seconds(0)) {
    pauseEnd_ = namedEnd;
  } else if (failuresInARow_ > failuresAllowed || pauseEnd_) {
    pauseEnd_ = now + nextPause_;
    nextPause_ = std::min(2 * nextPause_, longestPause);
  }
}

HostTrouble::Seconds HostTrouble::pauseLeft(Time now) const {
  return isPausing(now) ? std::chrono::ceil<Seconds>(*pauseEnd_ - now) : Seconds(0);
}

}  // namespace fliprugair
