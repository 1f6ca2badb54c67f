// A device of a swarm, with a network that answers at once.

#include <gtest/gtest.h>

#include <utility>

#include "support/WireFormat.h"
#include "tools/swarm/SwarmDevice.h"

namespace fliprugair::swarm {
namespace {

struct Answering final : SwarmDevice::Network {
  void send(SwarmDevice& /*device*/, std::uint64_t request, const Value& payload) override {
    EXPECT_EQ(test::wireFaults(payload), "");
    waiting.emplace_back(request, payload);
  }

  std::vector<std::pair<std::uint64_t, Value>> waiting;
};

TEST(SwarmDevice, SendsWhatTheSchemasAskForThroughUpdatesCrashesAndRestarts) {
  Fleet fleet;
  fleet.trackerOptions = Value{{"marluneAppId", "swarm"}, {"retrieveAttribution", true}};
  fleet.habits.daysBetweenUpdates = 1;
  fleet.habits.crashes = 0.3;
  Answering network;
  std::size_t requests = 0;
  for (std::uint32_t number = 0; number < 5; ++number) {
    SwarmDevice device(fleet, number, network);
    while (device.now() < 2 * day) {
      device.live(device.due());
      for (const auto& [request, payload] : std::exchange(network.waiting, {})) {
        device.answer(request, payload, Value{{"success", 1}, {"flags", Value{{"resend_initial", false}}}});
        ++requests;
      }
    }
  }
  EXPECT_GT(requests, 50U);
}

}  // namespace
}  // namespace fliprugair::swarm
