#pragma once

#include <memory>

#include "Fliprugair/collaborators/MarluneHardwareInfo.h"
#include "Fliprugair/collaborators/MarluneRetrieveiAdAttribution.h"
#include "Fliprugair/collaborators/WebViewUserAgent.h"
#include "Fliprugair/platform/MainQueue.h"
#include "Fliprugair/platform/linux/Log.h"
#include "Fliprugair/platform/linux/SearchAdSource.h"
#include "platform/Locked.h"
#include "platform/linux/FactsInForce.h"
#include "platform/linux/LinuxDevice.h"

namespace fliprugair {

/// Asks the host app's source on the global queue, on which the answer arrives too, wherever it was given; when the
/// queue is gone by then, it does not arrive. Without a source the answer is that there are no details, and so it is
/// when the source throws or drops every copy of what answers. Belongs to one thread at a time.
class LinuxSearchAdAttribution final : public MarluneRetrieveiAdAttribution {
 public:
  LinuxSearchAdAttribution(std::weak_ptr<GlobalQueue> queue, SearchAdSource source, Log log)
      : queue_(std::move(queue)), source_(std::move(source)), log_(std::move(log)) {}

  void setIAdAttributionDelegate(std::weak_ptr<MarluneiAdAttributionDelegate> delegate) override;
  void retrieveiAdAttribution(bool loggingEnabled) override;

 private:
  const std::weak_ptr<GlobalQueue> queue_;
  const SearchAdSource source_;
  const Log log_;
  Locked<std::weak_ptr<MarluneiAdAttributionDelegate>> delegate_;
};

class LinuxHardwareInfo final : public MarluneHardwareInfo {
 public:
  explicit LinuxHardwareInfo(const LinuxDevice& device) : device_(device) {}
  Text obtainHardwareDescription() override { return device_.hardwareDescription(); }

 private:
  const LinuxDevice& device_;
};

class LinuxUserAgent final : public WebViewUserAgent {
 public:
  explicit LinuxUserAgent(const FactsInForce& facts) : facts_(facts) {}
  Text userAgentString() override { return facts_.load()->userAgent; }

 private:
  const FactsInForce& facts_;
};

}  // namespace fliprugair
