#pragma once

#include <memory>

#include "Fliprugair/collaborators/MarluneHardwareInfo.h"
#include "Fliprugair/collaborators/MarluneLocationManager.h"
#include "Fliprugair/collaborators/MarluneNetworkAccess.h"
#include "Fliprugair/collaborators/MarluneRetrieveiAdAttribution.h"
#include "Fliprugair/collaborators/WebViewUserAgent.h"
#include "Fliprugair/platform/Platform.h"

namespace fliprugair {

struct ProcessState;

/// The environment of one process: its platform, the makers of the collaborators, and what the trackers of the process
/// share. A host app has one and keeps it alive longer than its trackers; a simulator makes a new one for every
/// "process" it runs. The makers may be called from any thread and never answer with a null pointer.
class Environment {
 public:
  Environment();
  virtual ~Environment();
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

  virtual Platform& platform() = 0;

  virtual std::shared_ptr<MarluneNetworkAccess> makeNetworkAccess() = 0;
  virtual std::shared_ptr<MarluneLocationManager> makeLocationManager() = 0;
  virtual std::shared_ptr<MarluneRetrieveiAdAttribution> makeRetrieveiAdAttribution() = 0;
  virtual std::shared_ptr<MarluneHardwareInfo> makeHardwareInfo() = 0;
  virtual std::shared_ptr<WebViewUserAgent> makeWebViewUserAgent() = 0;

  /// The process-wide values, shared by all trackers. Its type is the trackers' own (Fliprugair/core/ProcessState.h).
  ProcessState& processState() { return *processState_; }

 private:
  std::unique_ptr<ProcessState> processState_;
};

}  // namespace fliprugair
