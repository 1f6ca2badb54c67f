#include "e2e/HostApp.h"

#include <pthread.h>

#include <array>
#include <cstdlib>
#include <fstream>

#include "support/ThreadSleeps.h"

namespace fliprugair::e2e {

void Listener::Marlune_attributionResult(const Value& attribution) {
  std::array<char, 16> name{};
  pthread_getname_np(pthread_self(), name.data(), name.size());
  const std::lock_guard lock(mutex_);
  results_.push_back(attribution);
  lastThread_ = name.data();
}

std::map<std::string, long> sleepsOfThreads(std::string_view prefix) {
  std::map<std::string, long> result;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string name;
    std::getline(std::ifstream(thread.path() / "comm"), name);
    const std::string number = thread.path().filename();
    if (name.starts_with(prefix)) result[name + ' ' + number] = sleepsOf(std::stoi(number));
  }
  return result;
}

Value optionsFor(const std::string& hostname) { return {{"marluneAppId", "demo"}, {"trackerHostname", hostname}}; }

LinuxOptions optionsIn(const std::filesystem::path& folder) {
  LinuxOptions options;
  options.bundleIdentifier = "com.example.e2e";
  options.shortVersion = "1.0";
  options.version = "100";
  options.storePath = folder / "store.sqlite";
  options.documentsFolder = folder / "documents";
  options.log = [](std::string_view) {};
  return options;
}

HostApp::HostApp(LinuxOptions linuxOptions, const Value& trackerOptions) {
  auto opened = LinuxEnvironment::open(std::move(linuxOptions));
  if (!opened.environment) throw std::runtime_error(opened.error);
  environment_ = std::move(opened.environment);
  tracker_ = MarluneTracker::initMarluneWithParams(*environment_, trackerOptions);
  if (!tracker_) throw std::runtime_error("the tracker did not start");
  tracker_->setTrackerDelegate(listener_);
  environment_->applicationDidFinishLaunching();
  environment_->applicationDidBecomeActive();
}

HostApp::~HostApp() { terminate(); }

void HostApp::terminate() {
  environment_->terminate();
  tracker_ = nullptr;
}

std::vector<controlhost::ReceivedRequest> requestsOf(const ControlHost& host, std::string_view kind) {
  std::vector<controlhost::ReceivedRequest> result;
  for (auto& request : host.requests()) {
    if (request.action == kind) result.push_back(std::move(request));
  }
  return result;
}

std::vector<std::string> eventNames(const ControlHost& host) {
  std::vector<std::string> names;
  for (const auto& batch : requestsOf(host, "batch")) {
    for (const Value& record : batch.body().array()) {
      const Value name = record.dictionary()["data"].dictionary()["event_name"];
      if (name.isText()) names.push_back(name.text());
    }
  }
  return names;
}

int freePort() {
  ControlHost host;
  const int port = host.port();
  host.stop();
  return port;
}

}  // namespace fliprugair::e2e
