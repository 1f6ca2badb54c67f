// What scenarios and random scripts make the tracker send satisfies the schemas of the wire protocol, but for what a
// script gave it to be sent as it is.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "GivenValues.h"
#include "platform/json/RapidJSONSerialization.h"
#include "random/RandomScripts.h"
#include "support/Times.h"
#include "support/WireFormat.h"
#include "tools/sim/Simulator.h"

namespace fliprugair::sim {
namespace {

/// Runs scripts, and checks what the tracker sends in them.
class CheckedSimulator {
 public:
  explicit CheckedSimulator(std::uint64_t seed) : simulator_([this](const std::string& line) { look(line); }, seed) {}

  void run(const std::string& command) {
    script_ += command + '\n';
    given_.note(RapidJSONSerialization().value(command).value_or(Value()).dictionary());
    try {
      simulator_.run(command, ++number_);
    } catch (const CommandError&) {
      // Random scripts hold commands that are none.
    }
  }

  std::size_t requests() const { return requests_; }

 private:
  void look(const std::string& line) {
    const Dictionary event = RapidJSONSerialization().value(line).value_or(Value()).dictionary();
    if (event["event"] != Value("send")) return;
    const Value payload = given_.without(event["payload"]);
    if (payload.isNull()) return;
    ++requests_;
    EXPECT_EQ(test::wireFaults(payload), "") << "after\n" << script_;
  }

  GivenValues given_;
  std::uint64_t number_ = 0;
  std::size_t requests_ = 0;
  std::string script_;
  Simulator simulator_;
};

TEST(WireFormat, OfRandomScriptsIsInOrder) {
  std::size_t requests = 0;
  for (int seed = 1; seed <= times(100); ++seed) {
    CheckedSimulator simulator(seed);
    runRandomScript(seed, 200, [&](const std::string& command) { simulator.run(command); });
    requests += simulator.requests();
  }
  EXPECT_GT(requests, static_cast<std::size_t>(times(1000)));
}

TEST(WireFormat, OfScenariosIsInOrder) {
  std::size_t requests = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(FLIPRUGAIR_SCENARIOS)) {
    if (!entry.is_regular_file()) continue;
    CheckedSimulator simulator(1);
    std::ifstream script(entry.path());
    for (std::string line; std::getline(script, line);) {
      if (line.starts_with("{\"do\"")) simulator.run(line);
    }
    requests += simulator.requests();
  }
  EXPECT_GT(requests, 80u);
}

}  // namespace
}  // namespace fliprugair::sim
