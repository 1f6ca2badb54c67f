// fliprugair-swarm: many devices at once, for people who run a control host.

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <csignal>
#include <ctime>
#include <exception>
#include <iostream>
#include <string>
#include <thread>

#include "tools/swarm/Load.h"
#include "tools/swarm/Report.h"

namespace {

using namespace fliprugair;
using namespace fliprugair::swarm;

constexpr int lostRecords = 1;
constexpr int cannotBegin = 2;

constexpr const char* help = R"(
WHAT A DEVICE IS
  A whole tracker, the same code that a host app links, on a virtual device with
  a store of its own in memory. Somebody installs its app, opens it now and then,
  mostly in the evening, causes events, leaves it, is offline at times, updates
  it; the system ends it; it asks for its attribution. The same --seed gives the
  same devices with the same habits.

EXAMPLES
  fliprugair-controlhost --port 8080 &
  fliprugair-swarm --host 127.0.0.1:8080 --devices 2000 --rate 500 --seconds 60
      Posts 500 requests a second for a minute. The devices' time passes as fast
      as that takes: whatever they wait for does not make you wait, and their
      clocks run ahead of yours.

  fliprugair-swarm --host 127.0.0.1:8080 --devices 100 --seconds 10
      Without --rate: as fast as the host answers on --connections connections.

WHAT IT SAYS
  While it runs, a line a second on standard error. At the end: how many requests
  a second it were, of which kinds, how long they took (from the moment when each
  was due, so that a host that stops for a second cannot hide it), why requests
  failed, and the account of all records, which are installations and events:
    recorded      by the host app
    confirmed     the control host has taken it, and the device knows
    waiting       in the device's store, to be sent again
    twice         the host has taken it, and then once more
    unaccounted   lost
  Exit status: 0; 1 when a record is unaccounted; 2 when it could not begin.
  Ctrl-C ends it early, with the account.)";

/// Blocks the signals that end the program, in this thread and all that it starts.
sigset_t blockedEndSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

/// Shows how far something is on standard error: on a terminal in one line that changes, else in a new line each time.
class ProgressLine {
 public:
  ~ProgressLine() {
    if (isOnTerminal_ && isShown_) std::cerr << '\n';
  }
  /// Once a second.
  void show(const std::string& text) {
    const auto now = std::chrono::steady_clock::now();
    if (now < next_) return;
    next_ = now + std::chrono::seconds(1);
    isShown_ = true;
    std::cerr << (isOnTerminal_ ? "\r\x1b[K" + text : text + '\n') << std::flush;
  }

 private:
  const bool isOnTerminal_ = isatty(STDERR_FILENO) != 0;
  bool isShown_ = false;
  std::chrono::steady_clock::time_point next_ = std::chrono::steady_clock::now() + std::chrono::seconds(1);
};

/// False, and sooner, when the program is to end.
bool pause(const sigset_t& endSignals) {
  const timespec tenthOfASecond{0, 100'000'000};
  return sigtimedwait(&endSignals, nullptr, &tenthOfASecond) < 0;
}

void raiseDescriptorLimit(std::size_t connections) {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= connections + 64) return;
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, connections + 64);
  setrlimit(RLIMIT_NOFILE, &limit);
}

double wallClock() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

int load(Fleet fleet, const LoadOptions& options) {
  const sigset_t endSignals = blockedEndSignals();
  raiseDescriptorLimit(options.connections);
  fleet.startsAt = wallClock();
  LoadReport report;
  {
    ProgressLine line;
    report = runLoad(fleet, options, [&](const LoadReport& soFar) {
      line.show(progressLine(soFar));
      return pause(endSignals);
    });
  }
  std::cout << finalReport(report, options);
  return report.records.unaccounted > 0 ? lostRecords : 0;
}

void addHabits(CLI::App& app, Habits& habits) {
  const auto add = [&](const char* name, double& value, const char* text, double least, double most) {
    app.add_option(name, value, text)->check(CLI::Range(least, most))->capture_default_str()->group("Habits");
  };
  add("--sessions", habits.sessionsADay, "Sessions a device and a day", 0.01, 1000);
  add("--events", habits.eventsASession, "Events a session, 1 at least", 1, 10000);
  add("--pause", habits.secondsBetweenEvents, "Seconds between two events", 0.001, 86400);
  add("--restarts", habits.restarts, "Share of the sessions after which the app is ended", 0, 1);
  add("--crashes", habits.crashes, "Share of the sessions that end without a word", 0, 1);
  add("--offline", habits.offline, "Share of the sessions in which nothing gets through", 0, 1);
  add("--update-days", habits.daysBetweenUpdates, "Days between two updates of the app", 0.1, 100000);
  add("--install-hours", habits.installHours, "Hours in which all devices install the app", 0, 100000);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app(
      "Many devices at once, each a whole tracker, in one process: a load for a control host, and an account of\n"
      "every record.");
  app.footer(help);
  app.set_version_flag("--version", std::string("fliprugair-swarm ") + FLIPRUGAIR_VERSION);
  Fleet fleet;
  fleet.trackerOptions = Value{{"marluneAppId", "swarm"}, {"retrieveAttribution", true}};
  LoadOptions options;
  options.threads = std::max(1U, std::thread::hardware_concurrency());
  double seconds = 10;
  app.add_option("--devices", options.devices, "How many")->check(CLI::Range(1, 10000000))->capture_default_str();
  app.add_option("--seed", fleet.seed, "What chance begins with")->capture_default_str();
  app.add_option("--threads", options.threads, "Threads; the number of cores, if not given")
      ->check(CLI::Range(1, 1024));
  app.add_option("--host", options.hostname, "The control host, as HOST:PORT; over TLS unless it is this machine")
      ->required();
  app.add_option("--rate", options.rate, "Requests a second; if not given, as fast as the host answers")
      ->check(CLI::Range(0.001, 1e6));
  app.add_option("--seconds", seconds, "How long")->check(CLI::Range(0.01, 1e7))->capture_default_str();
  app.add_option("--connections", options.connections, "Requests under way at a time, at most")
      ->check(CLI::Range(1, 100000))
      ->capture_default_str();
  app.add_option("--ca-file", options.caFile, "PEM file of the certificates to trust instead of the system's")
      ->check(CLI::ExistingFile);
  addHabits(app, fleet.habits);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : cannotBegin;
  }
  try {
    options.duration = std::chrono::duration<double>(seconds);
    options.threads = std::min<std::size_t>({options.threads, options.devices, options.connections});
    return load(fleet, options);
  } catch (const std::exception& exception) {
    std::cerr << "fliprugair-swarm: " << exception.what() << '\n';
    return cannotBegin;
  }
}
