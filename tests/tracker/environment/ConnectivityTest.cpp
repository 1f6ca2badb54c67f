#include "Fliprugair/environment/Connectivity.h"
#include "tracker/Phone.h"

namespace fliprugair {
namespace {

struct Path {
  Reachability answer;
  bool connected;
  bool cellular;
};

const std::vector<Path>& paths() {
  constexpr std::uint32_t wide = Reachability::wirelessWideArea;
  constexpr std::uint32_t reachable = Reachability::reachable;
  static const std::vector<Path> cases{
      {{false, false, 0}, false, false},        {{true, false, 0}, false, false},
      {{false, true, reachable}, false, false}, {{true, true, 0}, false, false},
      {{true, true, reachable}, true, false},   {{true, true, 0x1}, true, false},
      {{true, true, wide}, true, true},         {{true, true, reachable | wide}, true, true},
  };
  return cases;
}

TEST(Connectivity, AnyFlagThatWasReadIsAConnection) {
  Phone phone;
  const Connectivity connectivity(phone.platform().surroundings());
  for (const Path& path : paths()) {
    SCOPED_TRACE(path.answer.flags);
    phone.device.facts.reachability = path.answer;
    EXPECT_EQ(connectivity.networkConnectedBool(), path.connected);
  }
}

TEST(Connectivity, AWideAreaFlagIsACellularPath) {
  Phone phone;
  const Connectivity connectivity(phone.platform().surroundings());
  for (const Path& path : paths()) {
    SCOPED_TRACE(path.answer.flags);
    phone.device.facts.reachability = path.answer;
    EXPECT_EQ(connectivity.cellularConnectedBool(), path.cellular);
  }
}

TEST(Connectivity, AConnectionThatIsNotCellularIsWiFi) {
  Phone phone;
  const Connectivity connectivity(phone.platform().surroundings());
  for (const Path& path : paths()) {
    SCOPED_TRACE(path.answer.flags);
    phone.device.facts.reachability = path.answer;
    EXPECT_EQ(connectivity.wiFiConnectedBool(), path.connected && !path.cellular);
  }
}

}  // namespace
}  // namespace fliprugair
