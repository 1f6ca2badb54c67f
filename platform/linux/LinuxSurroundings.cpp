#include "platform/linux/LinuxSurroundings.h"

#include <utility>

#include "Fliprugair/platform/Text.h"
#include "platform/linux/NetworkRoute.h"

namespace fliprugair {

LinuxSurroundings::LinuxSurroundings(const FactsInForce& facts, SystemFiles files)
    : facts_(facts), files_(std::move(files)) {}

Reachability LinuxSurroundings::reachability(std::string_view host) const {
  if (host.empty()) return {};
  if (const auto flags = facts_.load()->reachabilityFlags) return {true, true, *flags};
  return reachabilityBy(routeToHost(std::string(host)), files_);
}

bool LinuxSurroundings::locationServicesEnabled() const { return facts_.load()->locationServicesEnabled; }

int LinuxSurroundings::locationAuthorizationStatus() const { return facts_.load()->locationAuthorizationStatus; }

std::optional<Surroundings::Pasteboard> LinuxSurroundings::pasteboard(std::string_view name) const {
  const std::shared_ptr<const HostFacts> facts = facts_.load();
  const auto found = facts->pasteboards.find(name);
  if (found == facts->pasteboards.end()) return std::nullopt;
  return Pasteboard{Text(found->second).value()};
}

}  // namespace fliprugair
