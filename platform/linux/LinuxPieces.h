#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Fliprugair/platform/linux/LinuxOptions.h"

namespace fliprugair {

/// The store that the options name. Throws std::runtime_error with a text for the host app when there is none.
std::shared_ptr<UserDefaults> openUserDefaults(const LinuxOptions& options, const Log& log);

std::shared_ptr<Documents> openDocuments(const LinuxOptions& options);

/// The network of an environment.
struct NetworkPiece {
  std::function<std::shared_ptr<MarluneNetworkAccess>()> makeAccess;
  std::function<void()> stop;         ///< may be empty
  std::function<bool()> isOwnThread;  ///< may be empty
};

/// `platform` outlives the result. Throws as openUserDefaults.
NetworkPiece openNetwork(const LinuxOptions& options, Platform& platform, const Log& log);

/// The location managers of an environment.
struct LocationPiece {
  std::function<std::shared_ptr<MarluneLocationManager>()> makeManager;
  std::function<void()> stop;         ///< may be empty
  std::function<bool()> isOwnThread;  ///< may be empty
};

/// `platform` outlives the result.
LocationPiece openLocation(const LinuxOptions& options, Platform& platform, const Log& log);

}  // namespace fliprugair
