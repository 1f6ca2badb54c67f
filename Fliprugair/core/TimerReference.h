#pragma once

#include <memory>

#include "Fliprugair/platform/MainQueue.h"
#include "platform/Locked.h"

namespace fliprugair {

/// The process's reference to a timer that may still be armed. Dropping it does not stop the timer.
using TimerReference = Locked<std::shared_ptr<Timer>>;

/// Drops the reference and stops its timer, unless that has fired. Main queue only.
inline void stop(TimerReference& reference) {
  const auto timer = reference.exchange(nullptr);
  if (timer != nullptr && timer->isValid()) timer->invalidate();
}

}  // namespace fliprugair
