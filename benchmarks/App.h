#pragma once

#include <memory>
#include <string>

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/platform/linux/LinuxEnvironment.h"

namespace fliprugair::bench {

/// A host app with the real store.
struct App {
  std::unique_ptr<LinuxEnvironment> environment;
  std::shared_ptr<MarluneTracker> tracker;
};

/// Opens it on this file of the store, and makes its tracker. With a `hostname` it has the real network; without one a
/// network that never answers: what is sent stays in the network queue.
App construct(const std::string& file, const std::string& hostname = "");
/// And has it finish launching.
App launch(const std::string& file, const std::string& hostname = "");
/// A new installation that has reported itself to the host, and has nothing else to send.
App install(const std::string& file, const std::string& hostname);

/// Causes one event.
void call(const App& app);

}  // namespace fliprugair::bench
