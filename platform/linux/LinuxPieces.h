#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Fliprugair/platform/linux/LinuxOptions.h"

namespace fliprugair {

/// The store that the options name. Throws std::runtime_error with a text for the host app when there is none.
std::shared_ptr<UserDefaults> openUserDefaults(const LinuxOptions& options, const Log& log);

/// As LinuxEnvironment::erase.
std::string eraseStoreOf(const LinuxOptions& options);

std::shared_ptr<Documents> openDocuments(const LinuxOptions& options);

/// What makes an environment's collaborators of one kind, and the threads behind them.
template <class Collaborator>
struct Piece {
  std::function<std::shared_ptr<Collaborator>()> make;  ///< never answers with a null pointer, and throws nothing
  std::function<void()> stop = [] {};
  std::function<bool()> isOwnThread = [] { return false; };
  std::function<bool()> isIdle = [] { return true; };  ///< whether nothing is under way
  /// Calls its argument once, when nothing is under way: at once, or later on a thread of the piece's.
  std::function<void(std::function<void()>)> whenIdle = [](const std::function<void()>& action) { action(); };
  std::function<void()> adviseNoMore = [] {};  ///< what fails from now on fails by the host app's own wish
};

/// Everything given outlives the result. Throws as openUserDefaults.
Piece<MarluneNetworkAccess> openNetwork(const LinuxOptions& options, Platform& platform, UserDefaults& store,
                                        const JSONSerialization& json, Application& application, const Log& log);

/// `platform` outlives the result.
Piece<MarluneLocationManager> openLocation(const LinuxOptions& options, Platform& platform, const Log& log);

}  // namespace fliprugair
