#include "benchmarks/App.h"

#include <chrono>
#include <string_view>
#include <utility>

#include "benchmarks/Support.h"

namespace fliprugair::bench {

namespace {

class SilentNetwork final : public MarluneNetworkAccess {
 public:
  void setLoggingEnabled(bool /*enabled*/) override {}
  void setNetworkAccessDelegate(std::weak_ptr<MarluneNetworkAccessDelegate> /*delegate*/) override {}
  void setEventTimestamp(const Text& /*timestamp*/) override {}
  void setBackgroundTask(BackgroundTaskIdentifier /*task*/) override {}
  bool sendHTTPRequestWithHostname(const std::string& /*hostname*/, const Value& /*payload*/) override { return true; }
};

LinuxOptions optionsIn(const std::string& file) {
  LinuxOptions options;
  options.bundleIdentifier = "com.example.bench";
  options.shortVersion = "1.0";
  options.version = "100";
  options.storePath = file;
  options.log = [](std::string_view) {};
  return options;
}

}  // namespace

App construct(const std::string& file, const std::string& hostname) {
  LinuxOptions options = optionsIn(file);
  if (hostname.empty()) options.makeNetworkAccess = [](Platform&) { return std::make_shared<SilentNetwork>(); };
  auto opened = LinuxEnvironment::open(std::move(options));
  require(opened.environment != nullptr, opened.error.c_str());
  App app{std::move(opened.environment), nullptr};
  app.tracker = MarluneTracker::initMarluneWithParams(
      *app.environment, {{"marluneAppId", "demo"}, {"trackerHostname", hostname.empty() ? "127.0.0.1:1" : hostname}});
  require(app.tracker != nullptr, "the tracker");
  return app;
}

App launch(const std::string& file, const std::string& hostname) {
  App app = construct(file, hostname);
  app.environment->applicationDidFinishLaunching();
  return app;
}

App install(const std::string& file, const std::string& hostname) {
  App app = launch(file, hostname);
  app.environment->applicationDidBecomeActive();
  require(app.environment->waitUntilSent(std::chrono::seconds(30)).isEmpty(), "the host has not confirmed all");
  return app;
}

void call(const App& app) { app.tracker->trackEvent("level finished", "{\"level\":12,\"stars\":3}"); }

}  // namespace fliprugair::bench
