#pragma once

#include <memory>
#include <string>
#include <utility>

#include "Fliprugair/collaborators/MarluneNetworkAccess.h"

namespace fliprugair {

/// Sends every request to one control host, whatever host the tracker names.
class RedirectedNetworkAccess final : public MarluneNetworkAccess {
 public:
  RedirectedNetworkAccess(std::shared_ptr<MarluneNetworkAccess> access, std::string hostname)
      : access_(std::move(access)), hostname_(std::move(hostname)) {}

  void setLoggingEnabled(bool enabled) override { access_->setLoggingEnabled(enabled); }
  void setNetworkAccessDelegate(std::weak_ptr<MarluneNetworkAccessDelegate> delegate) override {
    access_->setNetworkAccessDelegate(std::move(delegate));
  }
  void setEventTimestamp(const Text& timestamp) override { access_->setEventTimestamp(timestamp); }
  void setBackgroundTask(BackgroundTaskIdentifier task) override { access_->setBackgroundTask(task); }
  bool sendHTTPRequestWithHostname(const std::string& /*hostname*/, const Value& payload) override {
    return access_->sendHTTPRequestWithHostname(hostname_, payload);
  }

 private:
  const std::shared_ptr<MarluneNetworkAccess> access_;
  const std::string hostname_;
};

}  // namespace fliprugair
