// fliprugair-controlhost: a control host for people who build against the tracker.

#include <pthread.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cmath>
#include <csignal>
#include <ctime>
#include <exception>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>

#include "tools/controlhost/ControlHostServer.h"
#include "tools/controlhost/HttpClient.h"
#include "tools/controlhost/RequestTable.h"
#include "tools/controlhost/SettingsFile.h"

namespace {

using namespace fliprugair;
using namespace fliprugair::controlhost;

constexpr const char* help = R"(
EXAMPLES
  fliprugair-controlhost
      Listens on 127.0.0.1, port 8080. Give a tracker "127.0.0.1:8080" as its
      "trackerHostname", and watch its requests arrive.

  fliprugair-controlhost --port 0 --verbose
      Any free port; the first line says which. Shows requests and replies whole.

  fliprugair-controlhost --settings settings.json
      Answers as the file says. The file can be edited while the host runs.

  fliprugair-controlhost requests --at 127.0.0.1:8080
      A table of what a running host has received, with what each batch holds.

  curl -s http://127.0.0.1:8080/api/requests
      What came so far, as JSON. GET /api/health tells whether the host is up.

SETTINGS
  Every member can be left out. This is a file with all of them:

  {
    "init": {"success": 1, "flags": {"resend_initial": false, "mltracker_wait": 60},
             "blacklist": ["idfa"], "eventname_blacklist": ["Spam"]},
    "initial": {"success": 1},
    "attribution": {"polls": 2, "retry": 10, "answer": {"network": "example"}},
    "resonance_cascade": 1,
    "status": {"batch": 503},
    "delay_ms": 250
  }

  init, initial      the replies to these two requests, as they stand
  attribution        "polls" questions of a device are answered "ask again in
                     "retry" seconds", the next one with "answer": an object,
                     "false" (not attributed) or null (never an answer)
  resonance_cascade  so many init requests of a device are told to come back later
  status             HTTP status for "init", "initial", "update",
                     "get_attribution" or "batch"; from 300 on it is a failure
  delay_ms           time that every reply takes
)";

/// Prints requests from several threads, one at a time.
class Printer {
 public:
  Printer(bool verbose, const JSONSerialization& json) : verbose_(verbose), json_(json) {}

  void print(const LoggedRequest& request) {
    std::string text = timeOfDay(request.received) + "  " + described(request) + "  " + deviceText(request);
    if (request.status != 200) text += "  answered with status " + std::to_string(request.status);
    if (request.action.empty()) text += "  " + request.reply.text();
    text = printable(std::move(text)) + '\n';
    if (verbose_) text += pretty("request", request.body) + pretty("reply", request.reply);
    const std::lock_guard lock(mutex_);
    std::cout << text << std::flush;
  }

  void complain(const std::string& fault) {
    const std::lock_guard lock(mutex_);
    std::cerr << fault << std::endl;
  }

 private:
  static std::string timeOfDay(double seconds) {
    const auto whole = static_cast<std::time_t>(seconds);
    std::tm parts{};
    localtime_r(&whole, &parts);
    std::array<char, 32> buffer{};
    const std::size_t length = std::strftime(buffer.data(), buffer.size(), "%H:%M:%S", &parts);
    const std::string thousandths = std::to_string(1000 + static_cast<int>((seconds - std::floor(seconds)) * 1000));
    return std::string(buffer.data(), length) + '.' + thousandths.substr(1);
  }

  static std::string described(const LoggedRequest& request) {
    if (request.action.empty()) return "not a request";
    return request.body.isArray() ? "batch of " + std::to_string(request.records) : request.action;
  }

  static std::string deviceText(const LoggedRequest& request) {
    const std::string device = deviceOf(request.body);
    return device.empty() ? "(no device id)" : device;
  }

  /// Requests must not be able to steer the terminal, nor to look like two lines.
  static std::string printable(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char character) { return character < 0x20 || character == 0x7F; }, '?');
    return text;
  }

  std::string pretty(const std::string& title, const Value& value) const {
    return title + ": " + json_.text(value, JSONSerialization::Layout::pretty).value_or("") + '\n';
  }

  const bool verbose_;
  const JSONSerialization& json_;
  std::mutex mutex_;
};

/// Blocks the signals that end the program, in this thread and all that it starts.
sigset_t blockedEndSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

void run(ControlHostOptions options, const std::string& settingsPath, bool verbose) {
  const RapidJSONSerialization json;
  Printer printer(verbose, json);
  std::unique_ptr<SettingsFile> file;
  if (!settingsPath.empty()) {
    file =
        std::make_unique<SettingsFile>(settingsPath, json, [&](const std::string& fault) { printer.complain(fault); });
    options.settings = [&] { return file->current(); };
  }
  options.arrived = [&](const LoggedRequest& request) { printer.print(request); };

  const sigset_t endSignals = blockedEndSignals();
  ControlHostServer server(std::move(options));
  std::cout << "http://" + server.hostname() + '\n' << std::flush;
  int signal = 0;
  sigwait(&endSignals, &signal);
  server.stop();
}

void showRequests(const std::string& address) {
  const auto body = httpGet(address, "/api/requests");
  const auto requests = body ? RapidJSONSerialization().value(*body) : std::nullopt;
  if (!requests || !requests->isArray()) {
    throw std::runtime_error("No control host answers at " + address + "; its first line of output says where it is.");
  }
  std::cout << requestTable(requests->array());
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app(
      "A control host for development. It listens on this machine only, answers a tracker's requests\n"
      "as told, prints each one as it arrives, and keeps the latest for GET /api/requests.");
  app.footer(help);
  ControlHostOptions options;
  options.port = 8080;
  std::string settings;
  bool verbose = false;
  app.add_option("--address", options.address, "Loopback address to listen on")
      ->check(CLI::IsMember({"127.0.0.1", "::1"}))
      ->capture_default_str();
  app.add_option("--port", options.port, "Port to listen on; 0: any free one")
      ->check(CLI::Range(0, 65535))
      ->capture_default_str();
  app.add_option("--settings", settings, "JSON file that says what to answer");
  app.add_option("--keep", options.capacity, "Requests to keep for GET /api/requests; the oldest go first")
      ->check(CLI::Range(1, 10000000))
      ->capture_default_str();
  app.add_flag("--verbose", verbose, "Print requests and replies whole");
  std::string address = "127.0.0.1:8080";
  CLI::App* list = app.add_subcommand("requests", "Show what a running control host has received, as a table");
  list->add_option("--at", address, "Where it listens")->capture_default_str();
  CLI11_PARSE(app, argc, argv);
  try {
    if (list->parsed()) {
      showRequests(address);
      return 0;
    }
    run(std::move(options), settings, verbose);
    return 0;
  } catch (const std::exception& exception) {
    std::cerr << exception.what() << '\n';
    return 2;
  }
}
