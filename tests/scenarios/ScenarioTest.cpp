// Every script in this folder is a test: NAME.jsonl holds the commands, NAME.expected the events that they must give.
// `scripts/rewrite-scenarios` writes the second anew from what the simulator does, for review.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tools/sim/Simulator.h"

namespace fliprugair::sim {
namespace {

const std::filesystem::path folder = FLIPRUGAIR_SCENARIOS;

std::vector<std::string> scenarioNames() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() == ".jsonl") names.push_back(entry.path().stem().string());
  }
  std::ranges::sort(names);
  return names;
}

std::vector<std::string> linesOf(const std::filesystem::path& file) {
  std::ifstream stream(file);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

std::vector<std::string> eventsOf(const std::vector<std::string>& script) {
  std::vector<std::string> events;
  Simulator simulator([&](const std::string& event) { events.push_back(event); }, 1);
  for (std::size_t index = 0; index < script.size(); ++index) simulator.run(script[index], index + 1);
  return events;
}

class Scenario : public testing::TestWithParam<std::string> {};

TEST_P(Scenario, GivesItsExpectedEvents) {
  const auto script = linesOf(folder / (GetParam() + ".jsonl"));
  const auto expected = linesOf(folder / (GetParam() + ".expected"));
  ASSERT_FALSE(script.empty());
  ASSERT_FALSE(expected.empty()) << "there are no expected events; scripts/rewrite-scenarios writes them for review";
  const auto events = eventsOf(script);
  for (std::size_t index = 0; index < std::max(events.size(), expected.size()); ++index) {
    const std::string wanted = index < expected.size() ? expected[index] : "(no more events)";
    const std::string found = index < events.size() ? events[index] : "(no more events)";
    ASSERT_EQ(wanted, found) << "at event " << index + 1 << " of " << GetParam();
  }
}

std::string testName(const testing::TestParamInfo<std::string>& info) {
  std::string name = info.param;
  std::ranges::replace_if(
      name, [](char character) { return std::isalnum(static_cast<unsigned char>(character)) == 0; }, '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(All, Scenario, testing::ValuesIn(scenarioNames()), testName);

}  // namespace
}  // namespace fliprugair::sim
