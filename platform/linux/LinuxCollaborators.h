#pragma once

#include <functional>
#include <memory>

#include "Fliprugair/collaborators/MarluneHardwareInfo.h"
#include "Fliprugair/collaborators/MarluneRetrieveiAdAttribution.h"
#include "Fliprugair/collaborators/WebViewUserAgent.h"
#include "Fliprugair/platform/Locked.h"
#include "Fliprugair/platform/MainQueue.h"
#include "Fliprugair/platform/linux/SearchAdSource.h"
#include "platform/linux/FactsInForce.h"
#include "platform/linux/Gate.h"
#include "platform/linux/LinuxDevice.h"

namespace fliprugair {

/// Asks the host app's source. Without one the answer is at once that there are no details. Belongs to one thread at a
/// time; the answer arrives on another one, as
/// long as `answers` lets it in.
class LinuxSearchAdAttribution final : public MarluneRetrieveiAdAttribution {
 public:
  LinuxSearchAdAttribution(GlobalQueue& queue, SearchAdSource source, std::shared_ptr<Gate> answers)
      : queue_(queue), source_(std::move(source)), answers_(std::move(answers)) {}

  void setIAdAttributionDelegate(std::weak_ptr<MarluneiAdAttributionDelegate> delegate) override;
  void retrieveiAdAttribution(bool loggingEnabled) override;

 private:
  GlobalQueue& queue_;
  const SearchAdSource source_;
  const std::shared_ptr<Gate> answers_;
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
