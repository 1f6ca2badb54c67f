// The program that the README shows, as it stands there.

#include <fstream>
#include <sstream>

#include "e2e/HostApp.h"
#include "e2e/Program.h"

namespace fliprugair::e2e {
namespace {

std::string contentOf(const std::filesystem::path& file) {
  std::ostringstream content;
  content << std::ifstream(file).rdbuf();
  return content.str();
}

/// The README's first indented block that begins with an #include.
std::string programInReadme() {
  std::istringstream readme(contentOf(std::filesystem::path(FLIPRUGAIR_SOURCES) / "README.md"));
  std::string program;
  bool inside = false;
  for (std::string line; std::getline(readme, line);) {
    inside = inside || line.starts_with("    #include");
    if (!inside) continue;
    if (!line.empty() && !line.starts_with("    ")) break;
    program += (line.empty() ? line : line.substr(4)) + '\n';
  }
  while (program.ends_with("\n\n")) program.pop_back();
  return program;
}

/// The port that the program names is the test's own, once whoever has it now lets it go.
std::unique_ptr<CheckedHost> hostOfTheProgram() {
  std::unique_ptr<CheckedHost> host;
  const bool listens = eventually([&host] {
    try {
      host = std::make_unique<CheckedHost>(ControlHostOptions{.port = 8080}, findingsOfShortLives);
    } catch (const std::runtime_error&) {
      return false;
    }
    return true;
  });
  return listens ? std::move(host) : nullptr;
}

TEST(Minimal, IsTheProgramThatTheReadmeShows) {
  EXPECT_EQ(programInReadme(), contentOf(std::filesystem::path(FLIPRUGAIR_SOURCES) / "examples/minimal/main.cpp"));
}

TEST(Minimal, SendsItsEventAtEachRunAndSaysThatItArrived) {
  const auto host = hostOfTheProgram();
  ASSERT_NE(host, nullptr) << "port 8080 of this machine is in use";
  const TemporaryFolder folder;
  for (std::size_t run = 1; run <= 3; ++run) {
    const ProgramRun minimal = runProgram({FLIPRUGAIR_MINIMAL}, {"XDG_DATA_HOME=" + folder.path().string()});
    EXPECT_EQ(minimal.exitStatus, 0);
    EXPECT_EQ(minimal.output, "The host has it all.\n");
    EXPECT_EQ(eventNames(*host), std::vector<std::string>(run, "level"));
  }
  EXPECT_EQ(requestsOf(*host, "initial").size(), 1U);
}

}  // namespace
}  // namespace fliprugair::e2e
