// A host app on a visit: launched, active, a dozen events of every kind, the attribution result, resigned, terminated.
// It talks to a control host that is already running, as `fliprugair-controlhost` is, or to the one that starts it, as
// `fliprugair-controlhost run -- fliprugair-visit --folder FOLDER` does.

#include <CLI/CLI.hpp>
#include <Fliprugair/Fliprugair>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <iostream>
#include <mutex>

#include "Fliprugair/platform/linux/LinuxEnvironment.h"
#include "examples/visit/Archive.h"

namespace {

using fliprugair::LinuxEnvironment;
using fliprugair::MarluneTracker;
using fliprugair::Value;

/// Receives the attribution result on the network thread and lets the main thread wait for it.
class AttributionListener final : public fliprugair::MarluneTrackerClientDelegate {
 public:
  void Marlune_attributionResult(const Value& attribution) override {
    const std::lock_guard lock(mutex_);
    attribution_ = attribution;
    arrived_.notify_all();
  }

  /// Nothing when none came in time.
  Value wait(std::chrono::seconds atMost) {
    std::unique_lock lock(mutex_);
    arrived_.wait_for(lock, atMost, [&] { return !attribution_.isNull(); });
    return attribution_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable arrived_;
  Value attribution_;
};

class LevelCompleted final : public fliprugair::EventStandardParameters {
 public:
  fliprugair::Text serverEventNameString() const override { return "Level Complete"; }
  Value serverEventDataDictionary() const override { return {{"level", 7}, {"score", 1234.5}}; }
};

struct Settings {
  std::string host = "127.0.0.1:8080";
  std::filesystem::path folder;
  std::string gpsdPort;
  bool first = true;
};

void say(const std::string& text) { std::cout << "  app  " << text << std::endl; }

void reportEvents(MarluneTracker& tracker) {
  tracker.trackEvent("Tutorial", "done");
  tracker.trackEvent("Level", "7");
  tracker.trackEvent("Purchase", "gold", "cmVjZWlwdA==");
  const LevelCompleted completed;
  tracker.trackEventWithEventStandardParameters(&completed);
  tracker.spatialEvent("Treasure", 1.5F, -2.0F, 0.0F);
  tracker.sendDeepLink(fliprugair::URL("demo://welcome?from=mail"), "com.example.mail");
  tracker.identityLinkEvent({{"player", "4711"}});
  tracker.trackEventWithEventTitleString("Rating", "5", true);
  tracker.setLimitAdTracking(true);
  say("reported two events, a purchase, two standard events, a place, a deep link, an identity link, a privacy choice");
  tracker.handleWatchEvents("watch-1");
  tracker.trackWatchEvent("Steps", "1000");
  tracker.trackWatchEvent("Heart Rate", "72");
  say("reported a paired watch and two of its events");
}

int visit(const Settings& settings) {
  std::filesystem::create_directories(settings.folder / "documents");
  fliprugair::LinuxOptions options;
  options.bundleIdentifier = "com.example.visit";
  options.shortVersion = "1.0";
  options.version = "100";
  options.storePath = settings.folder / "store.sqlite";
  options.documentsFolder = settings.folder / "documents";
  options.facts.locationServicesEnabled = !settings.gpsdPort.empty();
  options.facts.locationAuthorizationStatus = 3;
  if (!settings.gpsdPort.empty()) options.gpsdPort = settings.gpsdPort;
  // Who starts this app names its control host anyway, so that it may as well stand in the environment.
  options.allowControlHostFromEnvironment = true;
  auto opened = LinuxEnvironment::open(std::move(options));
  if (!opened.environment) {
    std::cerr << "fliprugair-visit: " << opened.error << '\n';
    return 1;
  }
  LinuxEnvironment& environment = *opened.environment;
  // Another service of this app leaves its traces, for the control host to ask about.
  environment.userDefaults().setObject("1.2", "OtherService.version");
  writeKeyedArchive(settings.folder / "documents" / "thirdservice.archive");

  const auto listener = std::make_shared<AttributionListener>();
  const auto tracker = MarluneTracker::initMarluneWithParams(
      environment, {{"marluneAppId", "demo"}, {"trackerHostname", settings.host}, {"retrieveAttribution", true}});
  if (!tracker) {
    std::cerr << "fliprugair-visit: the tracker did not start\n";
    return 1;
  }
  tracker->setTrackerDelegate(listener);
  const Value known = tracker->retrieveAttribution();
  environment.applicationDidFinishLaunching();
  environment.applicationDidBecomeActive();
  say("launched and active");

  if (settings.first) {
    const Value attribution = listener->wait(std::chrono::seconds(60));
    if (attribution.isNull()) {
      std::cerr << "fliprugair-visit: no attribution result came within 60 seconds\n";
      return 1;
    }
    say("attribution result: " + tracker->swiftRetrieveAttribution());
    reportEvents(*tracker);
  } else {
    say("attribution result is known from the last visit: " + tracker->swiftRetrieveAttribution());
    if (known.isNull()) return 1;
    tracker->trackEvent("Return", "second visit");
    say("reported one event");
  }
  environment.applicationWillResignActive();
  say("resigned");
  environment.terminate();
  say("terminated");
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  Settings settings;
  bool again = false;
  CLI::App app("A host app on a visit to a control host.");
  app.add_option("--host", settings.host, "the control host; \"fliprugair-controlhost run\" puts its own in its place")
      ->capture_default_str();
  app.add_option("--folder", settings.folder, "where the app keeps its store and documents")->required();
  app.add_option("--gpsd-port", settings.gpsdPort, "the port of a gpsd on this machine; without it, no positions");
  app.add_flag("--again", again, "not the first visit: expect the attribution result to be known already");
  CLI11_PARSE(app, argc, argv);
  settings.first = !again;
  return visit(settings);
}
