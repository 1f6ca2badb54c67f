// The swarm as a program: arguments, output, exit status.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <fstream>

#include "support/CheckedHost.h"
#include "support/TemporaryFolder.h"
#include "swarm/Clocks.h"

namespace fliprugair::swarm {
namespace {

struct Outcome {
  int status;
  std::string output;  ///< both streams
};

Outcome outcomeOf(const std::string& arguments) {
  FILE* const pipe = popen((FLIPRUGAIR_SWARM " " + arguments + " 2>&1").c_str(), "r");
  std::string output;
  for (int byte = std::fgetc(pipe); byte != EOF; byte = std::fgetc(pipe)) output += static_cast<char>(byte);
  return {WEXITSTATUS(pclose(pipe)), output};
}

TEST(Program, SaysItsVersion) {
  const auto [status, output] = outcomeOf("--version");
  EXPECT_EQ(status, 0);
  EXPECT_EQ(output, "fliprugair-swarm " FLIPRUGAIR_PROJECT_VERSION "\n");
}

TEST(Program, ItsHelpTeaches) {
  const auto [status, output] = outcomeOf("--help");
  EXPECT_EQ(status, 0);
  for (const std::string part :
       {"--host", "--devices", "--rate", "--seconds", "--seed", "--connections", "--sessions", "--hours", "--outage-at",
        "--csv", "A LOAD", "A PREVIEW", "unaccounted", "Exit status"}) {
    EXPECT_NE(output.find(part), std::string::npos) << part;
  }
}

TEST(Program, AccountsForEveryRecord) {
  CheckedHost host({}, clocksOfTheirOwn);
  const auto [status, output] = outcomeOf("--devices 5 --seconds 0.2 --rate 200 --host " + host.hostname());
  EXPECT_EQ(status, 0) << output;
  EXPECT_NE(output.find(" arrived twice (0 needlessly), 0 unaccounted\n"), std::string::npos) << output;
  EXPECT_NE(output.find("p99.9"), std::string::npos) << output;
}

TEST(Program, PreviewsAFleetIntoAFile) {
  const TemporaryFolder folder;
  const std::string csv = (folder.path() / "fleet.csv").string();
  const auto [status, output] = outcomeOf("--devices 5 --hours 3 --csv " + csv);
  EXPECT_EQ(status, 0) << output;
  EXPECT_NE(output.find("A device and a day: "), std::string::npos) << output;
  EXPECT_NE(output.find("Memory at its peak: "), std::string::npos) << output;
  std::ifstream file(csv);
  int lines = 0;
  for (std::string line; std::getline(file, line);) ++lines;
  EXPECT_EQ(lines, 4);
}

TEST(Program, SaysWhenItCannotWriteTheFile) {
  const auto [status, output] = outcomeOf("--devices 1 --hours 1 --csv /nowhere/fleet.csv");
  EXPECT_EQ(status, 2);
  EXPECT_EQ(output, "fliprugair-swarm: cannot write /nowhere/fleet.csv\n");
}

TEST(Program, RefusesWhatItCannotUnderstand) {
  for (const std::string arguments :
       {"--host", "--host 'no host'", "--rate 3", "--outage-hours 2", "--outage-at 1 --outage dance",
        "--host 127.0.0.1:1 --hours 3", "--host 127.0.0.1:1 --devices 0", "--host 127.0.0.1:1 --rate -1",
        "--host 127.0.0.1:1 --dance"}) {
    const auto [status, output] = outcomeOf(arguments);
    EXPECT_EQ(status, 2) << arguments;
    EXPECT_FALSE(output.empty()) << arguments;
  }
}

}  // namespace
}  // namespace fliprugair::swarm
