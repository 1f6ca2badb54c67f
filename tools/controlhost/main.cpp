// fliprugair-controlhost: a control host for people who build against the tracker.

#include <pthread.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <exception>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Fliprugair/ControlHost.h"
#include "platform/Counted.h"
#include "platform/json/RapidJSONSerialization.h"
#include "tools/EndSignals.h"
#include "tools/controlhost/ChildProgram.h"
#include "tools/controlhost/HttpClient.h"
#include "tools/controlhost/Match.h"
#include "tools/controlhost/RequestTable.h"
#include "tools/controlhost/SettingsFile.h"
#include "tools/controlhost/VisibleText.h"

namespace {

using namespace fliprugair;
using namespace fliprugair::controlhost;

constexpr const char* help = R"(
EXAMPLES
  fliprugair-controlhost
      Listens on 127.0.0.1, port 8080. Give a tracker "127.0.0.1:8080" as its
      "trackerHostname", open http://127.0.0.1:8080 in a browser, and watch.

  fliprugair-controlhost --port 0 --verbose
      Any free port; the first line says which, as JSON. Shows bodies whole.

  fliprugair-controlhost --settings settings.json --save requests.sqlite
      Answers as the file says, which can be edited while the host runs (until
      answers are set on the page: these hold until a reset), and keeps all that
      came; the next start with this file shows it again. One host at a time
      saves in a file.

  fliprugair-controlhost run -- ./my-app
      Starts an app with the host's address in FLIPRUGAIR_CONTROL_HOST, and shows
      what it sent when it has ended; SIGTERM, SIGINT and SIGHUP are handed
      on to it. The app must have allowed that
      (LinuxOptions::allowControlHostFromEnvironment), as the example does:
      fliprugair-controlhost run -- fliprugair-visit --folder visit

  fliprugair-controlhost tail --at 127.0.0.1:8080
  fliprugair-controlhost requests --at 127.0.0.1:8080
  fliprugair-controlhost tail event:level severity:warning
      Follows a running host; a table of what it has received; only what meets
      some terms: action, name, device, app, status, severity, id, state, event,
      a JSON pointer (/data/currency:EUR), or any text.

  curl -s '127.0.0.1:8080/api/wait?match=event:level&timeout=5'
      Waits for an event, in a test. The interface: docs/controlhost.md.

SETTINGS
  Every member can be left out. This is a file with all of them:

  {
    "init": {"success": 1, "flags": {"resend_initial": false, "mltracker_wait": 60},
             "blacklist": ["idfa"], "eventname_blacklist": ["Spam"]},
    "initial": {"success": 1},
    "attribution": {"polls": 2, "retry": 10, "answer": {"network": "example"}},
    "resonance_cascade": 1,
    "raw": {"get_attribution": "{ not JSON"},
    "status": {"batch": 503},
    "delay_ms": 250
  }

  init, initial      the replies to these two requests, as they stand
  attribution        "polls" questions of a device are answered "ask again in
                     "retry" seconds", the next one with "answer": an object,
                     "false" (not attributed) or null (never an answer)
  resonance_cascade  so many init requests of a device are told to come back later
  raw                a text that is sent as it stands, JSON or not
  status             HTTP status for "init", "initial", "update",
                     "get_attribution" or "batch"; from 300 on it is a failure
  delay_ms           time that every reply takes
)";

/// Prints requests from several threads, one at a time.
class Printer {
 public:
  Printer(bool verbose, std::ostream& stream) : verbose_(verbose), stream_(stream) {}

  void print(const ReceivedRequest& request) {
    const Value whole = wholeOf(request);
    std::string text = requestLine(whole) + findingLines(whole.dictionary()["problems"].array());
    if (verbose_) text += pretty("request", request.bytes) + pretty("reply", request.reply);
    const std::lock_guard lock(mutex_);
    stream_ << text << std::flush;
  }

  void complain(const std::string& fault) {
    const std::lock_guard lock(mutex_);
    std::cerr << fault << std::endl;
  }

 private:
  static std::string pretty(const std::string& title, const std::string& bytes) {
    const RapidJSONSerialization json;
    const auto value = json.value(bytes);
    const auto text = json.text(value ? *value : Value(bytes), JSONSerialization::Layout::pretty);
    return title + ": " + visibleText(text.value_or(""), true) + '\n';
  }

  const bool verbose_;
  std::ostream& stream_;
  std::mutex mutex_;
};

struct Wishes {
  ControlHostOptions options;
  std::string settingsPath;
  bool verbose = false;
};

/// A host as the command line wants it, with its settings file and what it prints.
class RunningHost {
 public:
  RunningHost(Wishes wishes, std::ostream& stream) : printer_(wishes.verbose, stream) {
    if (!wishes.settingsPath.empty()) {
      file_ = std::make_unique<SettingsFile>(wishes.settingsPath, json_,
                                             [this](const std::string& fault) { printer_.complain(fault); });
      wishes.options.settings = [this] { return file_->current(); };
      wishes.options.answersSet = [this, path = wishes.settingsPath] {
        printer_.complain("The answers have been set on the page or by PUT /api/answers: changes of " + path +
                          " count again after POST /api/reset.");
      };
    }
    wishes.options.arrived = [this](const ReceivedRequest& request) { printer_.print(request); };
    wishes.options.complain = [this](const std::string& fault) { printer_.complain(fault); };
    host_ = std::make_unique<ControlHost>(std::move(wishes.options));
  }

  ControlHost& host() { return *host_; }

 private:
  const RapidJSONSerialization json_;
  Printer printer_;
  std::unique_ptr<SettingsFile> file_;
  std::unique_ptr<ControlHost> host_;  ///< last: its threads use what stands above
};

bool isLoopback(const std::string& address) {
  return address.starts_with("127.") || address == "::1" || address == "localhost";
}

void warnAbout(const std::string& address) {
  if (isLoopback(address)) return;
  if (address == "0.0.0.0" || address == "::") {
    std::cerr << "Listening on " << address
              << ", all addresses of this machine: whoever reaches one can read and change everything here.\n"
              << "A tracker elsewhere takes this machine's own address with the port. "
                 "Without --address only this machine reaches it."
              << std::endl;
    return;
  }
  std::cerr << "Listening on " << address
            << ": whoever reaches this machine there can read and change everything here.\n"
            << "Without --address only this machine can." << std::endl;
}

int serve(Wishes wishes) {
  const bool anyPort = wishes.options.port == 0;
  const sigset_t endSignals = blockedEndSignals();
  const std::string address = wishes.options.address;
  RunningHost running(std::move(wishes), std::cout);
  warnAbout(address);
  ControlHost& host = running.host();
  const Value where{{"url", host.url()}, {"hostname", host.hostname()}, {"port", host.port()}};
  std::cout << (anyPort ? RapidJSONSerialization().textOfAny(where) : host.url()) + '\n' << std::flush;
  int signal = 0;
  sigwait(&endSignals, &signal);
  host.stop();
  return 0;
}

/// Requests on standard error, so that the app's own output stays as it is.
int runApp(Wishes wishes, const std::vector<std::string>& command) {
  const sigset_t signals = blockedSignalsOfAProgram();
  const std::string address = wishes.options.address;
  RunningHost running(std::move(wishes), std::cerr);
  warnAbout(address);
  ControlHost& host = running.host();
  std::cerr << host.url() << std::endl;
  const int status = runProgram(command, "FLIPRUGAIR_CONTROL_HOST", host.hostname(), signals);
  std::vector<Value> requests;
  for (const ReceivedRequest& request : host.requests()) requests.push_back(summaryOf(request));
  if (requests.empty()) {
    std::cerr << "Nothing came. Does the app allow the control host from the environment "
                 "(LinuxOptions::allowControlHostFromEnvironment)?\n";
  } else {
    std::cerr << requestTable(Array(std::move(requests)));
  }
  return status;
}

/// HOST:PORT of what may be given as the address of a page.
std::string hostnameOf(std::string address) {
  constexpr std::string_view scheme = "http://";
  if (address.starts_with(scheme)) address.erase(0, scheme.size());
  while (address.ends_with('/')) address.pop_back();
  return address;
}

std::runtime_error noHostAt(const std::string& address) {
  return std::runtime_error("No control host answers at " + address + "; its first line of output says where it is.");
}

/// What the interface is asked for with the terms of the command line. Throws std::runtime_error when they cannot be
/// meant.
std::string queryOf(const std::vector<std::string>& terms) {
  std::string text;
  for (const std::string& term : terms) text += (text.empty() ? "" : " ") + term;
  const std::string problem = Match(text).problem();
  if (!problem.empty()) throw std::runtime_error(problem + '\n' + Match::termsInWords());
  return "q=" + inQuery(text);
}

int showRequests(const std::string& address, const std::string& query) {
  std::vector<Value> requests;
  Value next = 0;
  while (!next.isNull()) {
    const std::string since = std::to_string(next.integerValue());
    const auto body = httpGet(address, "/api/requests?limit=1000&" + query + "&since=" + since);
    const auto page = body ? RapidJSONSerialization().value(*body) : std::nullopt;
    if (!page || !page->dictionary()["requests"].isArray()) throw noHostAt(address);
    for (const Value& request : page->dictionary()["requests"].array()) requests.push_back(request);
    next = page->dictionary()["next"];
  }
  std::map<std::string, std::size_t> counts;
  for (const Value& request : requests) {
    for (const auto& entry : request.dictionary()["findings"].dictionary().entries()) {
      counts[entry.key()] += static_cast<std::size_t>(entry.value.integerValue());
    }
  }
  std::cout << requestTable(Array(std::move(requests))) << "  Findings: " << counted(counts["error"], "error") << ", "
            << counted(counts["warning"], "warning") << ", " << counted(counts["note"], "note") << '\n';
  return 0;
}

int follow(const std::string& address, const std::string& query) {
  std::string event;
  const bool answered = httpFollow(address, "/api/events?" + query, [&](const std::string& line) {
    if (line.starts_with("event: ")) event = line.substr(7);
    if (!line.starts_with("data: ") || event != "request") return;
    const auto data = RapidJSONSerialization().value(line.substr(6));
    if (!data) return;
    std::cout << requestLine(data->dictionary()["request"]) << findingLines(data->dictionary()["problems"].array());
    for (const Value& record : data->dictionary()["records"].array()) {
      std::cout << findingLines(record.dictionary()["findings"].array());
    }
    std::cout << std::flush;
  });
  if (!answered) throw noHostAt(address);
  std::cerr << "The host at " << address << " has ended.\n";
  return 0;
}

/// They are about a host that begins, and would be ignored by who asks a running one.
void refuseHostOptions(const CLI::App& app) {
  for (const char* name : {"--address", "--port", "--settings", "--save", "--keep", "--verbose"}) {
    if (app.count(name) == 0) continue;
    throw std::runtime_error(std::string(name) +
                             " is for a host that begins. One that runs is asked by --at HOST:PORT.");
  }
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app(
      "A control host for development. It listens on this machine only unless told otherwise, answers a\n"
      "tracker's requests as told, checks and prints each one as it arrives, and shows them in a browser.");
  app.footer(help);
  app.set_version_flag("--version", std::string("fliprugair-controlhost ") + FLIPRUGAIR_VERSION);
  Wishes wishes;
  wishes.options.port = 8080;
  app.add_option("--address", wishes.options.address, "IP address to listen on; 0.0.0.0: all of this machine")
      ->capture_default_str();
  CLI::Option* port = app.add_option("--port", wishes.options.port, "Port to listen on; 0: any free one, told in JSON")
                          ->check(CLI::Range(0, 65535))
                          ->capture_default_str();
  app.add_option("--settings", wishes.settingsPath, "JSON file that says what to answer");
  app.add_option("--save", wishes.options.savePath, "SQLite file to keep all requests in, and to show them from again");
  app.add_option("--keep", wishes.options.capacity, "Requests to keep in memory; the oldest go first")
      ->check(CLI::Range(1, 10000000))
      ->capture_default_str();
  app.add_flag("--verbose", wishes.verbose, "Print requests and replies whole");
  std::string address = "127.0.0.1:8080";
  CLI::App* list = app.add_subcommand("requests", "Show what a running control host has received, as a table");
  list->add_option("--at", address, "Where it listens")->capture_default_str();
  CLI::App* tail = app.add_subcommand("tail", "Follow what a running control host receives");
  tail->add_option("--at", address, "Where it listens")->capture_default_str();
  std::vector<std::string> terms;
  for (CLI::App* one : {list, tail}) {
    one->add_option("match", terms, "Only what meets these terms, as event:level device:MI0123; none: everything");
  }
  std::vector<std::string> command;
  CLI::App* run = app.add_subcommand("run", "Start an app with a host of its own, and show what it sent");
  run->add_option("command", command, "The app and its arguments, behind --")->required();
  CLI11_PARSE(app, argc, argv);
  try {
    if (list->parsed() || tail->parsed()) refuseHostOptions(app);
    if (list->parsed()) return showRequests(hostnameOf(address), queryOf(terms));
    if (tail->parsed()) return follow(hostnameOf(address), queryOf(terms));
    if (run->parsed()) {
      if (port->count() == 0) wishes.options.port = 0;
      return runApp(std::move(wishes), command);
    }
    return serve(std::move(wishes));
  } catch (const std::exception& exception) {
    std::cerr << exception.what() << '\n';
    return 2;
  }
}
