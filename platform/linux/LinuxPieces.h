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
template <class Made>
class Piece {
 public:
  using Collaborator = Made;

  virtual ~Piece() = default;
  virtual std::shared_ptr<Collaborator> make() = 0;  ///< never answers with a null pointer, and throws nothing
  virtual void stop() {}
  virtual bool isOwnThread() const { return false; }
};

using LocationPiece = Piece<MarluneLocationManager>;

class NetworkPiece : public Piece<MarluneNetworkAccess> {
 public:
  virtual bool isIdle() const { return true; }  ///< whether nothing is under way
  /// Calls `action` once, when nothing is under way: at once, or later on a thread of the piece's.
  virtual void whenIdle(std::function<void()> action) { action(); }
  virtual void adviseNoMore() {}  ///< what fails from now on fails by the host app's own wish
};

/// Everything given outlives the result. Throws as openUserDefaults.
std::unique_ptr<NetworkPiece> openNetwork(const LinuxOptions& options, Platform& platform, UserDefaults& store,
                                          const JSONSerialization& json, Application& application, const Log& log);

/// The control host to which the user of the host app sends every request; empty: none.
std::string controlHostFromEnvironment(const LinuxOptions& options);

/// `platform` outlives the result.
std::unique_ptr<LocationPiece> openLocation(const LinuxOptions& options, Platform& platform, const Log& log);

}  // namespace fliprugair
