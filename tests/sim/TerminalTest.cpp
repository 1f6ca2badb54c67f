// The simulator on a terminal, where a person writes.

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <string>

namespace fliprugair::sim {
namespace {

struct Sitting {
  int status = -1;
  std::string shown;  ///< all that the terminal showed, without what was typed
};

/// Runs the simulator on a terminal of its own, on which `typed` is written.
Sitting onTerminal(const std::string& typed) {
  termios plain{};
  plain.c_lflag = ICANON;
  plain.c_cc[VEOF] = 4;
  int terminal = -1;
  const pid_t child = forkpty(&terminal, nullptr, &plain, nullptr);
  if (child == 0) {
    execl(FLIPRUGAIR_SIM, FLIPRUGAIR_SIM, nullptr);
    _exit(127);
  }
  Sitting sitting;
  EXPECT_EQ(write(terminal, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
  constexpr int patienceInMilliseconds = 60000;
  std::array<char, 4096> bytes;
  pollfd waiting{terminal, POLLIN, 0};
  while (poll(&waiting, 1, patienceInMilliseconds) == 1) {
    const ssize_t count = read(terminal, bytes.data(), bytes.size());
    if (count <= 0) break;
    sitting.shown.append(bytes.data(), static_cast<std::size_t>(count));
  }
  close(terminal);
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFEXITED(status)) sitting.status = WEXITSTATUS(status);
  return sitting;
}

bool shows(const Sitting& sitting, const std::string& text) { return sitting.shown.find(text) != std::string::npos; }

TEST(Terminal, IsGreetedWithAFirstCommandTheWordHelpAndTheWayOut) {
  const Sitting sitting = onTerminal("\x04");
  EXPECT_EQ(sitting.status, 0);
  EXPECT_TRUE(shows(sitting, R"({"do":"construct","options":{"marluneAppId":"demo"}})")) << sitting.shown;
  EXPECT_TRUE(shows(sitting, "\"help\"")) << sitting.shown;
  EXPECT_TRUE(shows(sitting, "Ctrl-D")) << sitting.shown;
}

TEST(Terminal, UnderstandsHelp) {
  const Sitting sitting = onTerminal(" help \n\x04");
  EXPECT_EQ(sitting.status, 0);
  EXPECT_TRUE(shows(sitting, R"({"do":"advance","seconds":60})")) << sitting.shown;
  EXPECT_FALSE(shows(sitting, "cannot be read")) << sitting.shown;
}

TEST(Terminal, GoesOnAfterAMistake) {
  const Sitting sitting = onTerminal(
      "{\"do\":\"construct\",\"options\":{\"marluneAppId\":\"demo\"}}\n"
      "{\"do\":\"call\",\"method\":\"isOSGenuin\"}\n{\"do\n"
      "{\"do\":\"call\",\"method\":\"isOSGenuine\"}\n\x04");
  EXPECT_EQ(sitting.status, 0);
  EXPECT_TRUE(shows(sitting, "line 2: the tracker has no selector \"isOSGenuin\"; did you mean \"isOSGenuine\"?"))
      << sitting.shown;
  EXPECT_TRUE(shows(sitting, "line 3: found")) << sitting.shown;
  EXPECT_TRUE(shows(sitting, R"({"event":"returned","method":"isOSGenuine","value":true})")) << sitting.shown;
  EXPECT_TRUE(shows(sitting, R"({"event":"done","line":4})")) << sitting.shown;
}

TEST(Terminal, SaysThatACommandDoesNothing) {
  const Sitting sitting = onTerminal("{\"do\":\"reply\",\"request\":1}\n\x04");
  EXPECT_TRUE(shows(sitting, "request 1 is not pending; none is")) << sitting.shown;
}

}  // namespace
}  // namespace fliprugair::sim
