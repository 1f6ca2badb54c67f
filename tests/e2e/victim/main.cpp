// A host app that is killed, or ends without a word to the library. It says on standard output what has returned.
//   victim events STORE HOST FIRST   reports the events FIRST, FIRST+1, ... and says each number when the call returned
//   victim install STORE HOST       a first launch; says "started" and waits
//   victim threads STORE HOST LIFE   sixteen threads report events and say their names; the application resigns and
//                                    becomes active all the while
//   victim exit STORE HOST MICROSECONDS [CA]   reports events on four threads, over TLS when it is given the host's
//                                    certificate, and calls exit() after that time

#include <unistd.h>

#include <Fliprugair/Fliprugair>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "Fliprugair/platform/linux/LinuxEnvironment.h"

int main(int argc, char** argv) {
  if (argc < 4) return 1;
  const std::string mode = argv[1];
  fliprugair::LinuxOptions options;
  options.bundleIdentifier = "com.example.e2e";
  options.shortVersion = "1.0";
  options.version = "100";
  options.storePath = argv[2];
  options.log = [](std::string_view) {};
  if (argc > 5) {
    options.network.caFile = argv[5];
    options.network.loopbackScheme = fliprugair::LoopbackScheme::https;
  }
  auto opened = fliprugair::LinuxEnvironment::open(std::move(options));
  if (!opened.environment) {
    std::fprintf(stderr, "victim: %s\n", opened.error.c_str());
    return 1;
  }
  const auto tracker = fliprugair::MarluneTracker::initMarluneWithParams(
      *opened.environment, {{"marluneAppId", "demo"}, {"trackerHostname", argv[3]}});
  if (!tracker) return 1;
  opened.environment->applicationDidFinishLaunching();
  opened.environment->applicationDidBecomeActive();
  if (mode == "install") {
    std::puts("started");
    std::fflush(stdout);
    while (true) ::pause();
  }
  if (mode == "threads") {
    for (int thread = 0; thread < 16; ++thread) {
      std::thread([&tracker, name = std::string(argv[4]) + "/" + std::to_string(thread)] {
        for (long number = 0;; ++number) {
          const std::string event = name + "/" + std::to_string(number);
          tracker->trackEvent(event, "value");
          const std::string line = event + "\n";
          if (::write(STDOUT_FILENO, line.data(), line.size()) < 0) return;
        }
      }).detach();
    }
    while (true) {
      // Real threads report meanwhile; how far they come does not matter, as they are killed at any instant.
      std::this_thread::sleep_for(std::chrono::milliseconds(3));
      opened.environment->applicationWillResignActive();
      opened.environment->applicationDidBecomeActive();
    }
  }
  if (mode == "exit") {
    for (int thread = 0; thread < 4; ++thread) {
      std::thread([&tracker] {
        while (true) tracker->trackEvent("last words", "value");
      }).detach();
    }
    // Real time: the test chose this instant of the life to end it at.
    std::this_thread::sleep_for(std::chrono::microseconds(std::stol(argv[4])));
    std::exit(0);  // no destructor of what stands above runs
  }
  for (long number = std::stol(argv[4]);; ++number) {
    const std::string name = std::to_string(number);
    tracker->trackEvent(name, "value");
    const std::string line = name + "\n";
    if (::write(STDOUT_FILENO, line.data(), line.size()) < 0) return 1;
  }
}
