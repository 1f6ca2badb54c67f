#pragma once

#include "Fliprugair/platform/Device.h"
#include "platform/linux/FactsInForce.h"
#include "platform/linux/SystemFiles.h"

namespace fliprugair {

/// Reachability by the kernel's routes; the rest is as the host app states it. Any thread.
class LinuxSurroundings final : public Surroundings {
 public:
  LinuxSurroundings(const FactsInForce& facts, SystemFiles files);

  /// Whether there is a way out of this machine, and of which kind: towards the host when it is a numeric address, else
  /// towards the internet.
  Reachability reachability(std::string_view host) const override;
  bool locationServicesEnabled() const override;
  int locationAuthorizationStatus() const override;
  std::optional<Pasteboard> pasteboard(std::string_view name) const override;

 private:
  const FactsInForce& facts_;
  const SystemFiles files_;
};

}  // namespace fliprugair
