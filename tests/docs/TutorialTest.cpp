// Runs the scripts of docs/simulator.md and compares the events that stand under their commands.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "support/Scenario.h"

namespace fliprugair::sim {
namespace {

struct Lesson {
  std::string title;
  std::vector<std::string> scenario;
};

std::vector<Lesson> lessons() {
  std::ifstream file(FLIPRUGAIR_TUTORIAL);
  std::vector<Lesson> result;
  bool isInScenario = false;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("## ")) result.push_back({line.substr(3), {}});
    if (line == "```") isInScenario = false;
    if (isInScenario) result.back().scenario.push_back(line);
    if (line == "```scenario") isInScenario = true;
  }
  return result;
}

TEST(Tutorial, HasTenScripts) { EXPECT_EQ(lessons().size(), 10U); }

TEST(Tutorial, EveryScriptGivesTheEventsThatStandUnderIt) {
  for (const auto& [title, scenario] : lessons()) {
    EXPECT_TRUE(std::ranges::any_of(scenario, [](const std::string& line) { return line.starts_with("{\"event\":"); }))
        << title;
    if (const std::string mismatch = mismatchIn(scenario); !mismatch.empty())
      ADD_FAILURE() << title << ", " << mismatch;
  }
}

}  // namespace
}  // namespace fliprugair::sim
