#include "tools/sim/StateValues.h"

#include "platform/PairList.h"

namespace fliprugair::sim {

Value stateValues(const ProcessState& state, const VirtualMainQueue& mainQueue) {
  Array timers;
  for (const auto& [selector, dueIn] : mainQueue.armed()) {
    timers = timers.appending(PairList().add("selector", selector).add("due_in", dueIn).dictionary());
  }
  return Dictionary({
      {"_loggingEnabled", state._loggingEnabled.load()},
      {"_isNewUser", state._isNewUser.load()},
      {"skipBecameActive", state.skipBecameActive.load()},
      {"trackerHostname", state.trackerHostname.load()},
      {"sdkVersion", state.sdkVersion.load()},
      {"disabledDeviceTypes", state.disabledDeviceTypes.load()},
      {"blacklistedEventNames", state.blacklistedEventNames.load()},
      {"iAdAttributionAttempts", state.iAdAttributionAttempts.load()},
      {"rcascadeTimerDelay", state.rcascadeTimerDelay.load()},
      {"triggerRetryiAdRetrieval", state.triggerRetryiAdRetrieval.load()},
      {"iAdDelegateProcessed", state.iAdDelegateProcessed.load()},
      {"reportLocation", state.reportLocation.load()},
      {"location_accuracy", state.location_accuracy.load()},
      {"location_timeout", state.location_timeout.load()},
      {"location_staleness", state.location_staleness.load()},
      {"locMgr", state.locMgr.load() != nullptr},
      {"timers", timers},
  });
}

}  // namespace fliprugair::sim
