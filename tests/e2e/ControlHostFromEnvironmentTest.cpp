// An application started by `fliprugair-controlhost run` finds its control host in the environment, if it wants to.

#include <cstdlib>

#include "e2e/HostApp.h"

namespace fliprugair::e2e {

namespace {

class ControlHostFromEnvironment : public testing::Test {
 protected:
  ControlHostFromEnvironment() { setenv("FLIPRUGAIR_CONTROL_HOST", host_.hostname().c_str(), 1); }
  ~ControlHostFromEnvironment() override { unsetenv("FLIPRUGAIR_CONTROL_HOST"); }

  ControlHost host_;
  ControlHost other_;
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

}  // namespace

}  // namespace fliprugair::e2e
