// The host app of ./demo, as it runs there: what it sends is in order.

#include <gtest/gtest.h>

#include "support/CheckedHost.h"
#include "support/TemporaryFolder.h"
#include "tools/controlhost/ChildProgram.h"

namespace fliprugair::e2e {

namespace {

TEST(Demo, ItsHostAppHasNoFinding) {
  CheckedHost host;
  controlhost::HostSettings settings;
  settings.init = Value{{"success", 1}, {"flags", Value{{"getattribution_wait", 1}, {"resend_initial", false}}}};
  settings.attribution = {2, 1, Value{{"network", "Example Ads"}}};
  host.setSettings(settings);
  const TemporaryFolder folder;
  const std::vector<std::string> visit{FLIPRUGAIR_VISIT, "--host", host.hostname(), "--folder", folder / "app"};
  std::vector<std::string> again = visit;
  again.emplace_back("--again");
  EXPECT_EQ(controlhost::runProgram(visit, "DEMO", "1"), 0);
  EXPECT_EQ(controlhost::runProgram(again, "DEMO", "1"), 0);
  EXPECT_TRUE(host.waitFor("action:initial", 1, std::chrono::seconds(0)).matched);
  EXPECT_TRUE(host.waitFor("action:event", 1, std::chrono::seconds(0)).matched);
  for (const controlhost::Finding& finding : host.findings()) ADD_FAILURE() << finding.text;
}

}  // namespace

}  // namespace fliprugair::e2e
