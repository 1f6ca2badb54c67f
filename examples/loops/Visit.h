#pragma once

#include <Fliprugair/platform/linux/LinuxEnvironment.h>

#include <Fliprugair/Fliprugair>
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <iostream>
#include <memory>
#include <string>
#include <utility>

/// What the host apps with a loop of their own have in common: an app whose main thread is the one with the loop, and a
/// tracker in it. Arguments: HOST:PORT FOLDER.
struct Visit {
  Visit(int count, char** arguments) {
    fliprugair::LinuxOptions options;
    options.bundleIdentifier = "com.example.loop";
    options.version = "1";
    options.storePath = std::string(count > 2 ? arguments[2] : ".") + "/loop.sqlite";
    options.mainThread = fliprugair::MainThread::host;
    auto opened = fliprugair::LinuxEnvironment::open(options);
    if (!opened.environment) {
      std::cerr << opened.error << '\n';
      return;
    }
    environment = std::move(opened.environment);
    tracker = fliprugair::MarluneTracker::initMarluneWithParams(
        *environment, {{"marluneAppId", "demo"}, {"trackerHostname", count > 1 ? arguments[1] : "127.0.0.1:8080"}});
    environment->applicationDidFinishLaunching();
    tracker->trackEvent("level", "7");
    tracker->identityLinkEvent({{"user", "4711"}});
  }

  /// Milliseconds until the platform has something to do; -1 when it waits for nothing.
  int wait() const {
    const auto deadline = environment->nextDeadline();
    if (!deadline) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - std::chrono::steady_clock::now());
    return static_cast<int>(std::max<std::int64_t>(0, left.count()));
  }

  std::unique_ptr<fliprugair::LinuxEnvironment> environment;
  std::shared_ptr<fliprugair::MarluneTracker> tracker;
};
