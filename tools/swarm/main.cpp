// fliprugair-swarm: many devices at once, for people who run a control host.

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <csignal>
#include <ctime>
#include <exception>
#include <fstream>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>

#include "tools/EndSignals.h"
#include "tools/swarm/Load.h"
#include "tools/swarm/Report.h"
#include "tools/swarm/Simulation.h"

namespace {

using namespace fliprugair;
using namespace fliprugair::swarm;

constexpr int wrongRecords = 1;
constexpr int cannotBegin = 2;

constexpr const char* help = R"(
WHAT A DEVICE IS
  A whole tracker, the same code that a host app links, on a virtual device with
  a store of its own in memory. Somebody installs its app, opens it now and then,
  mostly in the evening, causes events, leaves it, is offline at times, updates
  it; the system ends it; it asks for its attribution. The same --seed gives the
  same devices with the same habits.

A LOAD: WITH --host
  fliprugair-controlhost --port 8080 &
  fliprugair-swarm --host 127.0.0.1:8080 --devices 2000 --rate 500 --seconds 60
      Posts 500 requests a second for a minute. The devices' time passes as fast
      as that takes: whatever they wait for does not make you wait, and their
      clocks run ahead of yours.

  fliprugair-swarm --host 127.0.0.1:8080 --devices 100
      Without --rate: as fast as the host answers on --connections connections.

A PREVIEW: WITHOUT
  fliprugair-swarm --devices 10000 --hours 48 --csv fleet.csv
      Two days of ten thousand devices, in virtual time and without a network: a
      row an hour. The same arguments always give the same rows.

  fliprugair-swarm --devices 10000 --hours 24 --outage-at 19 --outage-hours 1
                   --step 60 --csv outage.csv
      An hour in which the control host is away, a row a minute. --outage refuse:
      no request gets through; lose: requests arrive and their replies get lost;
      back-off: the host says "resonance_cascade", and turns the rest away.

  The columns: hour (of the row's begin), requests, of these init, initial, update,
  batch, get_attribution; failed; records (in batches); bytes (of bodies);
  busiest_second (requests in it); waiting_requests (in all stores, at the end).

WHAT IT SAYS
  While it runs, how far it is, on standard error. At the end: how many requests
  it were, of which kinds, how long they took (from the moment when each was due,
  so that a host that stops for a second cannot hide it), why requests failed, and
  the account of all records, which are installations and events:
    recorded      by the host app
    confirmed     the control host has taken it, and the device knows
    waiting       in the device's store, to be sent again
    twice         the host has taken it, and then once more: its reply got lost, or
                  the app ended before it came. Needlessly: the device knew that
                  the host had it, a fault of the tracker
    unaccounted   lost
  Exit status: 0; 1 when a record is unaccounted, or was sent again needlessly; 2
  when it could not begin.
  Ctrl-C ends it early, with the account.)";

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

int statusOf(const Records& records) { return records.unaccounted + records.needless > 0 ? wrongRecords : 0; }

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
  return statusOf(report.records);
}

/// The most memory that this process has had.
std::string memoryLine(std::uint32_t devices) {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto kibibytes = static_cast<std::uint64_t>(usage.ru_maxrss);
  return "Memory at its peak: " + grouped(kibibytes / 1024) + " MiB, " + grouped(kibibytes * 1024 / devices) +
         " bytes a device\n";
}

void save(const std::string& path, const std::string& text) {
  std::ofstream file(path);
  file << text << std::flush;
  if (!file) throw std::runtime_error("cannot write " + path);
}

int preview(const Fleet& fleet, const SimulationOptions& options, const std::string& csvPath) {
  const sigset_t endSignals = blockedEndSignals();
  if (!csvPath.empty()) save(csvPath, "");  // better known now than after an hour
  SimulationReport report;
  {
    ProgressLine line;
    report = runSimulation(fleet, options, [&](const SimulationRow& row) {
      line.show(progressLine(row));
      const timespec noTime{};
      return sigtimedwait(&endSignals, nullptr, &noTime) < 0;
    });
  }
  if (!csvPath.empty()) save(csvPath, csv(report));
  std::cout << finalReport(report, options) << memoryLine(options.devices);
  return statusOf(report.records);
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

/// What can be said on the command line.
struct Wishes {
  Fleet fleet;
  std::uint32_t devices = 100;
  std::size_t threads = std::max(1U, std::thread::hardware_concurrency());
  LoadOptions load;
  double seconds = 10;
  SimulationOptions preview;
  double hours = 24;
  double step = 3600;
  double outageAt = 0;
  double outageHours = 1;
  Outage::Kind outage = Outage::Kind::refuse;
  std::string csvPath;
};

CLI::Option* addLoad(CLI::App& app, Wishes& wishes) {
  CLI::Option* host = app.add_option("--host", wishes.load.hostname,
                                     "The control host, as HOST:PORT; over TLS unless it is this machine");
  const auto add = [&](const char* name, auto& value, const char* text) {
    return app.add_option(name, value, text)->needs(host)->group("A load");
  };
  add("--rate", wishes.load.rate, "Requests a second; if not given, as fast as the host answers")
      ->check(CLI::Range(0.001, 1e6));
  add("--seconds", wishes.seconds, "How long")->check(CLI::Range(0.01, 1e7))->capture_default_str();
  add("--connections", wishes.load.connections, "Requests under way at a time, at most")
      ->check(CLI::Range(1, 100000))
      ->capture_default_str();
  add("--ca-file", wishes.load.caFile, "PEM file of the certificates to trust instead of the system's")
      ->check(CLI::ExistingFile);
  return host->group("A load");
}

void addPreview(CLI::App& app, Wishes& wishes, CLI::Option* host) {
  const auto add = [&](const char* name, auto& value, const char* text) {
    return app.add_option(name, value, text)->excludes(host)->group("A preview");
  };
  add("--hours", wishes.hours, "How long, in the devices' time")->check(CLI::Range(0.01, 1e6))->capture_default_str();
  add("--step", wishes.step, "Seconds that make a row")->check(CLI::Range(1.0, 1e6))->capture_default_str();
  add("--csv", wishes.csvPath, "File for the rows");
  add("--init-wait", wishes.preview.host.initWait, "\"mlinit_wait\" in the host's replies; if not given, it is silent")
      ->check(CLI::Range(60, 604800));
  add("--batch-wait", wishes.preview.host.batchWait, "\"mltracker_wait\" in the host's replies")
      ->check(CLI::Range(60, 604800));
  const std::map<std::string, Outage::Kind> kinds{
      {"refuse", Outage::Kind::refuse}, {"lose", Outage::Kind::lose}, {"back-off", Outage::Kind::backOff}};
  CLI::Option* at =
      add("--outage-at", wishes.outageAt, "Hour at which the host begins to fail; if not given, it does not")
          ->check(CLI::Range(0.0, 1e6));
  add("--outage-hours", wishes.outageHours, "For how long")->needs(at)->capture_default_str();
  add("--outage", wishes.outage, "How it fails")->needs(at)->transform(CLI::CheckedTransformer(kinds));
}

int run(Wishes wishes, bool isLoad, bool hasOutage) {
  if (isLoad) {
    wishes.load.devices = wishes.devices;
    wishes.load.duration = std::chrono::duration<double>(wishes.seconds);
    wishes.load.threads = std::min<std::size_t>({wishes.threads, wishes.devices, wishes.load.connections});
    return load(wishes.fleet, wishes.load);
  }
  wishes.preview.devices = wishes.devices;
  wishes.preview.threads = std::min<std::size_t>(wishes.threads, wishes.devices);
  wishes.preview.length = fromSeconds(wishes.hours * 3600);
  wishes.preview.step = fromSeconds(wishes.step);
  const Time begin = fromSeconds(wishes.outageAt * 3600);
  if (hasOutage) wishes.preview.host.outage = {begin, begin + fromSeconds(wishes.outageHours * 3600), wishes.outage};
  return preview(wishes.fleet, wishes.preview, wishes.csvPath);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app(
      "Many devices at once, each a whole tracker, in one process: a load for a control host, or a preview of what\n"
      "it will have to bear; and an account of every record.");
  app.footer(help);
  app.set_version_flag("--version", std::string("fliprugair-swarm ") + FLIPRUGAIR_VERSION);
  Wishes wishes;
  wishes.fleet.trackerOptions = Value{{"marluneAppId", "swarm"}, {"retrieveAttribution", true}};
  app.add_option("--devices", wishes.devices, "How many")->check(CLI::Range(1, 10000000))->capture_default_str();
  app.add_option("--seed", wishes.fleet.seed, "What chance begins with")->capture_default_str();
  app.add_option("--threads", wishes.threads, "Threads; as many as cores, if not given")->check(CLI::Range(1, 1024));
  CLI::Option* host = addLoad(app, wishes);
  addPreview(app, wishes, host);
  addHabits(app, wishes.fleet.habits);
  try {
    app.parse(argc, argv);
    return run(wishes, host->count() > 0, app.count("--outage-at") > 0);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : cannotBegin;
  } catch (const std::exception& exception) {
    std::cerr << "fliprugair-swarm: " << exception.what() << '\n';
    return cannotBegin;
  }
}
