#include <Fliprugair/Fliprugair>
#include <iostream>

#include "platform/linux/LinuxEnvironment.h"

int main() {
  auto opened = fliprugair::LinuxEnvironment::open({.bundleIdentifier = "com.example.minimal", .version = "1"});
  if (!opened.environment) return std::cerr << opened.error << '\n', 1;
  auto& app = *opened.environment;
  auto tracker = fliprugair::MarluneTracker::initMarluneWithParams(
      app, {{"marluneAppId", "demo"}, {"trackerHostname", "127.0.0.1:8080"}});
  if (!tracker) return 1;
  app.applicationDidFinishLaunching();
  app.applicationDidBecomeActive();
  tracker->trackEvent("level", "7");
  app.applicationWillResignActive();
  app.terminate();
}
