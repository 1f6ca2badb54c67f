#pragma once

#include <functional>
#include <memory>

#include "Fliprugair/collaborators/MarluneHardwareInfo.h"
#include "Fliprugair/collaborators/MarluneLocationManager.h"
#include "Fliprugair/collaborators/MarluneRetrieveiAdAttribution.h"
#include "Fliprugair/collaborators/WebViewUserAgent.h"
#include "platform/Locked.h"
#include "platform/virtual/VirtualEvent.h"

namespace fliprugair {

/// Where the virtual collaborators write what they are asked.
using VirtualEventWriter = std::function<void(const VirtualEvent& event)>;

/// A search-ad service that answers when it is told to.
class VirtualSearchAd final : public MarluneRetrieveiAdAttribution {
 public:
  explicit VirtualSearchAd(VirtualEventWriter write) : write_(std::move(write)) {}

  void setIAdAttributionDelegate(std::weak_ptr<MarluneiAdAttributionDelegate> delegate) override {
    delegate_.store(std::move(delegate));
  }
  void retrieveiAdAttribution(bool loggingEnabled) override {
    write_({"search_ad_request", [&](PairList& event) { event.add("logging", loggingEnabled); }});
  }

  /// False when nobody is there to receive it.
  bool answer(const Value& details, bool unknown) {
    const auto delegate = delegate_.load().lock();
    if (delegate != nullptr) delegate->iAdAttributionData(details, unknown);
    return delegate != nullptr;
  }

 private:
  VirtualEventWriter write_;
  Locked<std::weak_ptr<MarluneiAdAttributionDelegate>> delegate_;
};

/// A location manager that finds a fix when it is given one.
class VirtualLocationManager final : public MarluneLocationManager {
 public:
  explicit VirtualLocationManager(VirtualEventWriter write) : write_(std::move(write)) {}

  void setLocationManagerDelegate(std::weak_ptr<MarluneLocationManagerDelegate> delegate) override {
    delegate_.store(std::move(delegate));
  }
  void initLocationServices(bool loggingEnabled, std::int64_t accuracy, std::int64_t timeout) override {
    write_({"location_request", [&](PairList& event) {
              event.add("accuracy", accuracy).add("timeout", timeout).add("logging", loggingEnabled);
            }});
  }

  /// False when nobody is there to receive it.
  bool deliver(const Value& fix) {
    const auto delegate = delegate_.load().lock();
    if (delegate != nullptr) delegate->currentLocationUpdate(fix);
    return delegate != nullptr;
  }

 private:
  VirtualEventWriter write_;
  Locked<std::weak_ptr<MarluneLocationManagerDelegate>> delegate_;
};

class VirtualHardwareInfo final : public MarluneHardwareInfo {
 public:
  explicit VirtualHardwareInfo(Text description) : description_(std::move(description)) {}
  Text obtainHardwareDescription() override { return description_; }

 private:
  Text description_;
};

class VirtualUserAgent final : public WebViewUserAgent {
 public:
  VirtualUserAgent(Text userAgent, VirtualEventWriter write)
      : userAgent_(std::move(userAgent)), write_(std::move(write)) {}

  Text userAgentString() override {
    write_({"user_agent_request", [](PairList& /*event*/) {}});
    return userAgent_;
  }

 private:
  Text userAgent_;
  VirtualEventWriter write_;
};

}  // namespace fliprugair
