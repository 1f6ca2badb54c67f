// Every file NAME.scenario under this folder is a test; README.md says how one is written.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "support/Scenario.h"

namespace fliprugair::sim {
namespace {

const std::filesystem::path folder = FLIPRUGAIR_SCENARIOS;

std::vector<std::string> scenarioNames() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.path().extension() == ".scenario") {
      names.push_back((entry.path().parent_path().filename() / entry.path().stem()).string());
    }
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

class Scenario : public testing::TestWithParam<std::string> {};

TEST_P(Scenario, GivesItsExpectedEvents) {
  const auto scenario = linesOf(folder / (GetParam() + ".scenario"));
  ASSERT_TRUE(std::ranges::any_of(scenario, [](const std::string& line) { return line.starts_with("{\"event\":"); }))
      << "no events are expected";
  ASSERT_EQ(std::ranges::count(scenario, "..."), 0) << "a scenario shows every event";
  const std::string mismatch = mismatchIn(scenario);
  if (!mismatch.empty()) FAIL() << "tests/scenarios/" << GetParam() << ".scenario, " << mismatch;
}

std::string testName(const testing::TestParamInfo<std::string>& info) {
  std::string name = info.param.substr(info.param.find('/') + 1);
  std::ranges::replace_if(
      name, [](char character) { return std::isalnum(static_cast<unsigned char>(character)) == 0; }, '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(All, Scenario, testing::ValuesIn(scenarioNames()), testName);

}  // namespace
}  // namespace fliprugair::sim
