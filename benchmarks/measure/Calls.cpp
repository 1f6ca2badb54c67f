#include "benchmarks/App.h"
#include "benchmarks/Support.h"
#include "benchmarks/measure/Figures.h"
#include "platform/virtual/VirtualProcess.h"

namespace fliprugair::bench {

void callsOnVirtualDevice(std::int64_t calls) {
  VirtualDevice device([](const VirtualEvent& /*event*/) {}, [](std::string_view /*bytes*/) { return false; });
  VirtualProcess process(device);
  const auto tracker = MarluneTracker::initMarluneWithParams(process, {{"marluneAppId", "demo"}});
  require(tracker != nullptr, "the tracker");
  process.runQueues();
  process.post(ApplicationNotification::didFinishLaunching);
  for (std::int64_t count = 0; count < calls; ++count) {
    tracker->trackEvent("level finished", "{\"level\":12,\"stars\":3}");
    process.runQueues();
  }
}

void callsWithStore(std::int64_t calls, const std::string& file) {
  const App app = launch(file);
  for (std::int64_t count = 0; count < calls; ++count) call(app);
  app.environment->terminate();
}

void commitsAlone(std::int64_t commits, const std::string& file) {
  Floor floor(file);
  for (std::int64_t count = 0; count < commits; ++count) floor.commit();
}

}  // namespace fliprugair::bench
