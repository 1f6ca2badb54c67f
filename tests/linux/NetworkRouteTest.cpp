#include <dlfcn.h>
#include <ifaddrs.h>

#include "linux/Support.h"
#include "platform/linux/NetworkRoute.h"

namespace {

/// An interface without an address, as a tunnel may be; null while the machine has none.
ifaddrs* addressless = nullptr;

template <class Function>
Function* inTheCLibrary(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

/// Puts that interface in front of the machine's own.
extern "C" int getifaddrs(ifaddrs** list) noexcept {
  const int result = inTheCLibrary<int(ifaddrs**)>("getifaddrs")(list);
  if (addressless != nullptr) {
    addressless->ifa_next = *list;
    *list = addressless;
  }
  return result;
}

extern "C" void freeifaddrs(ifaddrs* list) noexcept {
  const bool isFirst = addressless != nullptr && list == addressless;
  inTheCLibrary<void(ifaddrs*)>("freeifaddrs")(isFirst ? list->ifa_next : list);
}

namespace fliprugair {
namespace {

TEST(NetworkRoute, TheRouteToThisMachineIsTheLoopbackInterface) {
  const Route route = routeTo("127.0.0.1");
  EXPECT_TRUE(route.asked);
  EXPECT_EQ(route.interface, "lo");
}

TEST(NetworkRoute, AnInterfaceWithoutAnAddressIsPassedOver) {
  std::string name = "tun0";
  ifaddrs tunnel{};
  tunnel.ifa_name = name.data();
  addressless = &tunnel;
  const Route route = routeTo("127.0.0.1");
  addressless = nullptr;
  EXPECT_EQ(route.interface, "lo");
}

TEST(NetworkRoute, AnAddressThatNobodyHasARouteToHasNone) {
  const Route route = routeTo("255.255.255.255");  // broadcasts need a permission that the socket does not ask for
  EXPECT_TRUE(route.asked);
  EXPECT_EQ(route.interface, std::nullopt);
}

TEST(NetworkRoute, ANameIsNotLookedUp) { EXPECT_FALSE(routeTo("localhost").asked); }

TEST(NetworkRoute, ANumericAddressHasARouteOfItsOwnAndANameTheInternets) {
  EXPECT_EQ(routeToHost("127.0.0.1").interface, "lo");
  EXPECT_EQ(routeToHost("host.example").interface, routeToInternet().interface);
}

TEST(NetworkRoute, TheInterfacesKindDecidesTheFlags) {
  struct Case {
    const char* name;
    const char* type;
    const char* uevent;
    std::uint32_t flags;
  };
  constexpr std::uint32_t reachable = Reachability::reachable;
  constexpr std::uint32_t wide = Reachability::reachable | Reachability::wirelessWideArea;
  const std::vector<Case> cases = {
      {"eth0", "1\n", "INTERFACE=eth0\nIFINDEX=2\n", reachable},
      {"wlan0", "1\n", "DEVTYPE=wlan\nINTERFACE=wlan0\n", reachable},
      {"wwan0", "1\n", "DEVTYPE=wwan\nINTERFACE=wwan0\n", wide},
      {"wwan1", "519\n", "INTERFACE=wwan1\n", wide},
      {"tun0", "65534\n", "INTERFACE=tun0\n", reachable},
      {"lo", "772\n", "INTERFACE=lo\n", 0},
  };
  const TemporaryFolder root;
  for (const Case& each : cases) {
    const std::filesystem::path folder = std::filesystem::path("sys/class/net") / each.name;
    root.write(folder / "type", each.type);
    root.write(folder / "uevent", each.uevent);
    const Reachability result = reachabilityBy({true, each.name}, SystemFiles(root.path()));
    EXPECT_TRUE(result.referenceCreated);
    EXPECT_TRUE(result.flagsRead);
    EXPECT_EQ(result.flags, each.flags) << each.name;
  }
}

TEST(NetworkRoute, AnInterfaceThatTheSystemDoesNotDescribeIsAnOrdinaryOne) {
  const TemporaryFolder root;
  EXPECT_EQ(reachabilityBy({true, "eth7"}, SystemFiles(root.path())).flags, Reachability::reachable);
  EXPECT_EQ(reachabilityBy({true, ""}, SystemFiles(root.path())).flags, Reachability::reachable);
}

TEST(NetworkRoute, WithoutARouteTheFlagsAreReadAndEmpty) {
  const Reachability result = reachabilityBy({true, std::nullopt}, SystemFiles());
  EXPECT_TRUE(result.referenceCreated);
  EXPECT_TRUE(result.flagsRead);
  EXPECT_EQ(result.flags, 0u);
}

TEST(NetworkRoute, AKernelThatCannotBeAskedLeavesNoReference) {
  const Reachability result = reachabilityBy({false, std::nullopt}, SystemFiles());
  EXPECT_FALSE(result.referenceCreated);
  EXPECT_FALSE(result.flagsRead);
  EXPECT_EQ(result.flags, 0u);
}

}  // namespace
}  // namespace fliprugair
