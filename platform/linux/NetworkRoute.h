#pragma once

#include <optional>
#include <string>

#include "Fliprugair/platform/Device.h"
#include "platform/linux/SystemFiles.h"

namespace fliprugair {

/// The kernel's answer on where packets to an address would go.
struct Route {
  bool asked = false;                    ///< whether the kernel could be asked
  std::optional<std::string> interface;  ///< none when there is no route
};

/// Asks for the route to a numeric IPv4 or IPv6 address. Sends nothing. Any thread.
Route routeTo(const std::string& address);

/// The route to hosts beyond this machine and its neighbours.
Route routeToInternet();

/// The route to a host: its own when it is a numeric address, else the one to the internet. No name is looked up, which
/// would send packets and could take seconds.
Route routeToHost(const std::string& host);

/// What a route means for reachability. The interface's kind is read from below /sys.
Reachability reachabilityBy(const Route& route, const SystemFiles& files);

}  // namespace fliprugair
