#include <Fliprugair/platform/linux/LinuxEnvironment.h>

#include <Fliprugair/Fliprugair>
#include <iostream>

int main() {
  auto [app, error] = fliprugair::LinuxEnvironment::open({.bundleIdentifier = "com.example.minimal", .version = "1"});
  if (!app) return std::cerr << error << '\n', 1;
  const auto tracker = fliprugair::MarluneTracker::initMarluneWithParams(
      *app, {{"marluneAppId", "demo"}, {"trackerHostname", "127.0.0.1:8080"}});
  if (!tracker) return 1;  // the log has said why
  app->applicationDidFinishLaunching();
  app->applicationDidBecomeActive();
  tracker->trackEvent("level", "7");
  const fliprugair::Waiting waiting = app->waitUntilSent(std::chrono::seconds(10));
  std::cout << (waiting.isEmpty() ? "The host has it all." : "Still to be sent: " + waiting.text()) << '\n';
  app->terminate();
}
