// A process may end while every thread of the platform's is at work.

#include <random>

#include "e2e/HostApp.h"
#include "e2e/Program.h"

namespace fliprugair::e2e {
namespace {

TEST(Exit, WithLiveThreadsIsAsQuietAsAnyOther) {
  ControlHost host;
  std::minstd_rand random(20260921);
  for (int round = 0; round < 20; ++round) {
    const TemporaryFolder folder;
    const ProgramRun run = runProgram({FLIPRUGAIR_VICTIM, "exit", (folder.path() / "store.sqlite").string(),
                                       host.hostname(), std::to_string(random() % 100000)});
    EXPECT_EQ(run.exitStatus, 0) << "round " << round;
    EXPECT_EQ(run.output, "") << "round " << round;
  }
}

}  // namespace
}  // namespace fliprugair::e2e
