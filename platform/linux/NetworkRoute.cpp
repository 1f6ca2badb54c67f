#include "platform/linux/NetworkRoute.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if_arp.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstring>
#include <memory>

#include "platform/posix/FileDescriptor.h"

namespace fliprugair {

namespace {

bool isSameAddress(const sockaddr_storage& left, const sockaddr& right) {
  if (left.ss_family != right.sa_family) return false;
  if (left.ss_family == AF_INET) {
    sockaddr_in one{};
    sockaddr_in other{};
    std::memcpy(&one, &left, sizeof(one));
    std::memcpy(&other, &right, sizeof(other));
    return one.sin_addr.s_addr == other.sin_addr.s_addr;
  }
  sockaddr_in6 one{};
  sockaddr_in6 other{};
  std::memcpy(&one, &left, sizeof(one));
  std::memcpy(&other, &right, sizeof(other));
  return IN6_ARE_ADDR_EQUAL(&one.sin6_addr, &other.sin6_addr);
}

/// The interface that bears a local address; "" when it has just lost it.
std::string interfaceOf(const sockaddr_storage& local) {
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return "";
  const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(list, freeifaddrs);
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    const bool hasAddress = entry->ifa_addr != nullptr;
    if (hasAddress && isSameAddress(local, *entry->ifa_addr)) return entry->ifa_name;
  }
  return "";
}

}  // namespace

Route routeTo(const std::string& address) {
  addrinfo hints{};
  hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
  hints.ai_socktype = SOCK_DGRAM;
  addrinfo* found = nullptr;
  constexpr const char* discardService = "9";
  if (getaddrinfo(address.c_str(), discardService, &hints, &found) != 0) return {};
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, freeaddrinfo);

  const FileDescriptor probe(socket(found->ai_family, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!probe) return {};
  // To connect a datagram socket is only to look up its route.
  if (connect(probe.get(), found->ai_addr, found->ai_addrlen) != 0) return {true, std::nullopt};
  sockaddr_storage local{};
  socklen_t size = sizeof(local);
  if (getsockname(probe.get(), reinterpret_cast<sockaddr*>(&local), &size) != 0) return {};
  return {true, interfaceOf(local)};
}

Route routeToInternet() {
  // A root name server's addresses stand for the public internet: they are known everywhere, and have hardly ever
  // changed. Nothing is sent to them. Addresses that are nobody's would not do, since careful machines refuse them.
  Route route = routeTo("198.41.0.4");
  if (route.interface) return route;
  const Route sixth = routeTo("2001:503:ba3e::2:30");
  return {route.asked || sixth.asked, sixth.interface};
}

Route routeToHost(const std::string& host) {
  const Route own = routeTo(host);
  return own.asked ? own : routeToInternet();
}

Reachability reachabilityBy(const Route& route, const SystemFiles& files) {
  Reachability result;
  result.referenceCreated = route.asked;
  result.flagsRead = route.asked;
  if (!route.asked || !route.interface) return result;
  result.flags = Reachability::reachable;
  if (route.interface->empty()) return result;

  const std::filesystem::path folder = std::filesystem::path("sys/class/net") / *route.interface;
  const std::string type = files.firstLine(folder / "type").value_or("");
  const std::string facts = files.content(folder / "uevent").value_or("");
  constexpr int rawIP = 519;  // modems of phones; older kernel headers have no name for it
  if (type == std::to_string(ARPHRD_LOOPBACK)) result.flags = 0;
  if (type == std::to_string(rawIP) || assignedValue(facts, "DEVTYPE") == "wwan") {
    result.flags |= Reachability::wirelessWideArea;
  }
  return result;
}

}  // namespace fliprugair
