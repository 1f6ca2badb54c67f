// The host app of ./demo, as it runs there: what it sends is in order.

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "e2e/Program.h"
#include "platform/json/RapidJSONSerialization.h"
#include "support/CheckedHost.h"
#include "support/TemporaryFolder.h"
#include "tools/controlhost/HostSettings.h"
#ifdef FLIPRUGAIR_GPS
#include "gpsd/GpsFake.h"
#endif

namespace fliprugair::e2e {

namespace {

/// What the script gives its control host.
controlhost::HostSettings settingsOfTheScript() {
  std::ifstream file(FLIPRUGAIR_SOURCES "/demo");
  const std::string script{std::istreambuf_iterator<char>(file), {}};
  const std::size_t begin = script.find("<<'JSON'\n") + 9;
  const auto json = RapidJSONSerialization().value(script.substr(begin, script.find("\nJSON\n", begin) - begin));
  EXPECT_TRUE(json) << "./demo holds no settings";
  return controlhost::settingsOf(json.value_or(Value()));
}

TEST(Demo, ItsHostAppHasNoFinding) {
  CheckedHost host;
  host.setSettings(settingsOfTheScript());
  const TemporaryFolder folder;
  std::vector<std::string> visit{FLIPRUGAIR_VISIT, "--host", host.hostname(), "--folder", folder / "app"};
  std::vector<std::string> again = visit;
  again.emplace_back("--again");
#ifdef FLIPRUGAIR_GPS
  const test::GpsFake gpsd(std::vector<test::Epoch>(600));
  visit.insert(visit.end(), {"--gpsd-port", gpsd.port()});
#endif
  for (const auto& one : {visit, again}) {
    const ProgramRun run = runProgram(one);
    EXPECT_EQ(run.exitStatus, 0) << run.output;
  }
  const auto came = [&](const std::string& match) { return host.waitFor(match, 1, std::chrono::seconds(0)).matched; };
  EXPECT_TRUE(came("action:initial"));
  EXPECT_TRUE(came("action:event"));
#ifdef FLIPRUGAIR_GPS
  EXPECT_TRUE(came("name:location"));
#endif
  EXPECT_TRUE(came("name:outside_services"));
  for (const controlhost::Finding& finding : host.findings()) ADD_FAILURE() << finding.text;
}

}  // namespace

}  // namespace fliprugair::e2e
