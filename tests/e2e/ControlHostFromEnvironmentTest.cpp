// An application started by `fliprugair-controlhost run` finds its control host in the environment, if it wants to.

#include <cstdlib>
#include <fstream>

#include "e2e/HostApp.h"
#include "e2e/Program.h"

namespace fliprugair::e2e {

namespace {

class ControlHostFromEnvironment : public testing::Test {
 protected:
  ControlHostFromEnvironment() { setenv("FLIPRUGAIR_CONTROL_HOST", host_.hostname().c_str(), 1); }
  ~ControlHostFromEnvironment() override { unsetenv("FLIPRUGAIR_CONTROL_HOST"); }

  CheckedHost host_;
  CheckedHost other_;
  const TemporaryFolder folder_;
  const Value trackerOptions_{{"marluneAppId", "demo"}, {"trackerHostname", other_.hostname()}};
};

TEST_F(ControlHostFromEnvironment, TakesThePlaceOfEveryOtherWhenAllowed) {
  LinuxOptions options = optionsIn(folder_.path());
  options.allowControlHostFromEnvironment = true;
  const HostApp app(std::move(options), trackerOptions_);
  EXPECT_TRUE(host_.waitFor("action:initial", 1, std::chrono::seconds(30)).matched);
  EXPECT_TRUE(other_.requests().empty());
}

TEST_F(ControlHostFromEnvironment, IsNotLookedAtUnlessAllowed) {
  const HostApp app(optionsIn(folder_.path()), trackerOptions_);
  EXPECT_TRUE(other_.waitFor("action:initial", 1, std::chrono::seconds(30)).matched);
  EXPECT_TRUE(host_.requests().empty());
}

TEST(ControlHostProgram, RunsTheExampleWhoseEventsArrive) {
  const TemporaryFolder folder;
  const std::string settings = folder / "settings.json";
  std::ofstream(settings)
      << R"({"init": {"success": 1, "flags": {"getattribution_wait": 1, "resend_initial": false}}})";
  const ProgramRun run = runProgram(
      {FLIPRUGAIR_CONTROLHOST, "--settings", settings, "run", "--", FLIPRUGAIR_VISIT, "--folder", folder / "visit"});
  EXPECT_EQ(run.exitStatus, 0);
  EXPECT_NE(run.output.find("event \"Level Complete\""), std::string::npos) << run.output;
}

}  // namespace

}  // namespace fliprugair::e2e
