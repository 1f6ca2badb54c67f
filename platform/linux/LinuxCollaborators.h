#pragma once

#include <functional>
#include <memory>

#include "collaborators/MarluneHardwareInfo.h"
#include "collaborators/MarluneRetrieveiAdAttribution.h"
#include "collaborators/WebViewUserAgent.h"
#include "platform/Locked.h"
#include "platform/MainQueue.h"
#include "platform/linux/Gate.h"
#include "platform/linux/HostFacts.h"
#include "platform/linux/LinuxDevice.h"

namespace fliprugair {

/// Whatever knows on this system whether a search ad led to the installation. Called on a thread of the global queue;
/// calls `answer` once, then or later, on any thread: with the details (a dictionary, or nothing when there are none),
/// and whether they are not known yet. It must not block, since terminate() waits for it: what takes long belongs on a
/// thread of the host app's, which answers later. An answer after the environment's termination has no effect.
using SearchAdSource = std::function<void(std::function<void(const Value& details, bool unknown)> answer)>;

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
