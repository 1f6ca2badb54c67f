#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string_view>

#include "Fliprugair/collaborators/MarluneHardwareInfo.h"
#include "Fliprugair/collaborators/MarluneLocationManager.h"
#include "Fliprugair/collaborators/MarluneNetworkAccess.h"
#include "Fliprugair/collaborators/MarluneRetrieveiAdAttribution.h"
#include "Fliprugair/collaborators/WebViewUserAgent.h"
#include "Fliprugair/platform/Export.h"
#include "Fliprugair/platform/Platform.h"

namespace fliprugair {

/// The environment of one process: its platform, the makers of the collaborators, and what the trackers of the process
/// share. A host app has one and keeps it alive longer than its trackers; a simulator makes a new one for every
/// "process" it runs. The makers may be called from any thread and never answer with a null pointer.
class FLIPRUGAIR_EXPORT Environment {
 public:
  Environment() = default;
  virtual ~Environment() = default;
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

  virtual Platform& platform() = 0;

  virtual std::shared_ptr<MarluneNetworkAccess> makeNetworkAccess() = 0;
  virtual std::shared_ptr<MarluneLocationManager> makeLocationManager() = 0;
  virtual std::shared_ptr<MarluneRetrieveiAdAttribution> makeRetrieveiAdAttribution() = 0;
  virtual std::shared_ptr<MarluneHardwareInfo> makeHardwareInfo() = 0;
  virtual std::shared_ptr<WebViewUserAgent> makeWebViewUserAgent() = 0;

  /// Takes a line for whoever develops the host app: what is amiss with how it uses the library, and what to do. Comes
  /// whether logging is on or not; an environment that shows nothing need not override it. Any thread.
  virtual void advise(std::string_view /*line*/) {}

  /// What the trackers of this process share: what `make` answered with when it was first called. The environment only
  /// keeps it. Any thread.
  const std::shared_ptr<void>& shared(const std::function<std::shared_ptr<void>()>& make) {
    std::call_once(sharedOnce_, [&] { shared_ = make(); });
    return shared_;
  }

 private:
  std::once_flag sharedOnce_;
  std::shared_ptr<void> shared_;
};

}  // namespace fliprugair
