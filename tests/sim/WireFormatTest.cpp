// What scenarios and random scripts make the tracker send satisfies the schemas of the wire protocol, as long as no
// script wrote into the store or the queues by itself.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform/json/RapidJSONSerialization.h"
#include "random/RandomScripts.h"
#include "support/Times.h"
#include "support/WireFormat.h"
#include "tools/sim/Simulator.h"

namespace fliprugair::sim {
namespace {

/// Whether what is sent from here on may be the script's own.
bool interferes(const std::string& command) {
  const Dictionary members = RapidJSONSerialization().value(command).value_or(Value()).dictionary();
  const std::string& method = members["method"].text();
  const bool writes = members["do"] == Value("store") && (members.holds("set") || members.holds("remove"));
  // A clock far off gives times that no device has.
  return writes || members["do"] == Value("clock") || method == "enqueueMarluneEvent:" ||
         method == "appendBatchEvent:" || method == "flushBatchQueue:" || method.starts_with("init") ||
         method.starts_with("swiftInit");
}

/// Runs scripts, and checks what the tracker sends in them.
class CheckedSimulator {
 public:
  explicit CheckedSimulator(std::uint64_t seed) : simulator_([this](const std::string& line) { look(line); }, seed) {}

  void run(const std::string& command) {
    script_ += command + '\n';
    isOurs_ = isOurs_ && !interferes(command);
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
    if (!isOurs_ || event["event"] != Value("send")) return;
    if (event["payload"].isNull()) return;  // a flush of no queue: nothing goes over the wire
    ++requests_;
    EXPECT_EQ(test::wireFaults(event["payload"]), "") << "after\n" << script_;
    EXPECT_LE(event["payload"].array().size(), 25U) << "after\n" << script_;
  }

  bool isOurs_ = true;
  std::uint64_t number_ = 0;
  std::size_t requests_ = 0;
  std::string script_;
  Simulator simulator_;
};

TEST(WireFormat, OfRandomScriptsIsInOrder) {
  std::size_t requests = 0;
  for (int seed = 1; seed <= times(300); ++seed) {
    CheckedSimulator simulator(seed);
    runRandomScript(seed, 200, [&](const std::string& command) { simulator.run(command); });
    requests += simulator.requests();
  }
  EXPECT_GT(requests, static_cast<std::size_t>(times(100)));
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
