#include "platform/linux/LinuxPieces.h"

#include <algorithm>
#include <stdexcept>
#include <utility>
#include <variant>

#include "platform/Joined.h"
#include "platform/linux/CappedStore.h"
#include "platform/linux/GuardedLog.h"
#include "platform/linux/StandIns.h"
#include "platform/linux/UserFolders.h"

#if FLIPRUGAIR_SQLITE
#include "platform/linux/ErasedStore.h"
#include "platform/sqlite/SQLiteUserDefaults.h"
#endif
#if FLIPRUGAIR_CURL
#include "platform/curl/CurlNetwork.h"
#endif
#if FLIPRUGAIR_GPS
#include "platform/gpsd/GpsdLocation.h"
#endif
#if FLIPRUGAIR_PLIST
#include "platform/plist/PlistDocuments.h"
#endif

namespace fliprugair {

namespace {

namespace fs = std::filesystem;

#if FLIPRUGAIR_SQLITE
fs::path storePath(const LinuxOptions& options) {
  if (options.storePath) return *options.storePath;
  const std::string folder = options.bundleIdentifier.value_or("");
  if (folder.empty()) {
    throw std::runtime_error("The store has no place: give a bundle identifier, or the store's path.");
  }
  if (folder.find('/') != folder.npos || folder == "." || folder == "..") {
    throw std::runtime_error(joined({"The bundle identifier \"", folder,
                                     "\" cannot name a folder, where the store would be: give another one, as "
                                     "\"com.example.app\", or the store's path."}));
  }
  const std::optional<fs::path> data = dataFolder(processVariable);
  if (!data) throw std::runtime_error("The store has no place: the user has no home. Give the store's path.");
  return *data / folder / "fliprugair.sqlite";
}
#endif

#if !FLIPRUGAIR_PLIST
/// Stands in where the archive reader was left out.
class UnreadDocuments final : public Documents {
 public:
  explicit UnreadDocuments(fs::path folder) : folder_(std::move(folder)) {}
  std::string pathForFile(std::string_view name) const override { return (folder_ / name).string(); }
  bool unarchivesAsObject(const std::string& /*path*/) const override { return false; }

 private:
  const fs::path folder_;
};
#endif

/// The host app's own maker, with a stand-in for what it throws or leaves null.
template <class Piece, class StandIn>
class HostAppsPiece final : public Piece {
 public:
  using Made = std::shared_ptr<typename Piece::Collaborator>;
  using Maker = std::function<Made(Platform&)>;

  HostAppsPiece(Maker maker, const char* name, Platform& platform, Log log)
      : maker_(std::move(maker)), name_(name), platform_(platform), log_(std::move(log)) {}

  Made make() override {
    Made made;
    runGuarded([&] { made = maker_(platform_); }, name_, log_);
    return made != nullptr ? made : std::make_shared<StandIn>();
  }

 private:
  const Maker maker_;
  const char* const name_;
  Platform& platform_;
  const Log log_;
};

#if FLIPRUGAIR_CURL
class CurlPiece final : public NetworkPiece {
 public:
  CurlPiece(const LinuxOptions& options, UserDefaults& store, const JSONSerialization& json, Application& application,
            const Log& log)
      : network_(options.network, store, json, application, log, options.advises) {}

  std::shared_ptr<MarluneNetworkAccess> make() override { return network_.makeAccess(); }
  void stop() override { network_.stop(); }
  bool isOwnThread() const override { return network_.isOwnThread(); }
  bool isIdle() const override { return network_.isIdle(); }
  void whenIdle(std::function<void()> action) override { network_.whenIdle(std::move(action)); }
  void adviseNoMore() override { network_.adviseNoMore(); }

 private:
  CurlNetwork network_;
};
#endif

#if FLIPRUGAIR_GPS
class GpsdPiece final : public LocationPiece {
 public:
  GpsdPiece(const LinuxOptions& options, const Log& log) : location_({options.gpsdHost, options.gpsdPort}, log) {}

  std::shared_ptr<MarluneLocationManager> make() override { return location_.makeManager(); }
  void stop() override { location_.stop(); }
  bool isOwnThread() const override { return location_.isOwnThread(); }

 private:
  GpsdLocation location_;
};
#else
class NoLocationPiece final : public LocationPiece {
 public:
  std::shared_ptr<MarluneLocationManager> make() override { return std::make_shared<NoLocationManager>(); }
};
#endif

std::shared_ptr<UserDefaults> openStore(const LinuxOptions& options, [[maybe_unused]] const Log& log) {
  if (options.userDefaults != nullptr) return options.userDefaults;
#if FLIPRUGAIR_SQLITE
  auto opened = SQLiteUserDefaults::open(storePath(options), log, options.store);
  if (const auto* refusal = std::get_if<SQLiteUserDefaults::Refusal>(&opened)) {
    throw std::runtime_error(refusal->reason);
  }
  return std::get<std::unique_ptr<SQLiteUserDefaults>>(std::move(opened));
#else
  throw std::runtime_error(
      "The platform was built without its store (FLIPRUGAIR_SQLITE), and the app has none of its own.");
#endif
}

}  // namespace

std::shared_ptr<UserDefaults> openUserDefaults(const LinuxOptions& options, const Log& log) {
  std::shared_ptr<UserDefaults> store = openStore(options, log);
  if (!options.mostWaitingRequests) return store;
  const std::size_t mostRequests = std::max<std::size_t>(*options.mostWaitingRequests, 1);
  return std::make_shared<CappedStore>(std::move(store), mostRequests, log);
}

std::string eraseStoreOf(const LinuxOptions& options) {
  if (options.userDefaults != nullptr) return "The store is the host app's own: it is not erased here.";
#if FLIPRUGAIR_SQLITE
  return eraseStore(storePath(options));
#else
  return "The platform was built without its store.";
#endif
}

std::shared_ptr<Documents> openDocuments(const LinuxOptions& options) {
  if (options.documents != nullptr) return options.documents;
#if FLIPRUGAIR_PLIST
  return std::make_shared<PlistDocuments>(options.documentsFolder);
#else
  return std::make_shared<UnreadDocuments>(options.documentsFolder);
#endif
}

std::unique_ptr<NetworkPiece> openNetwork(const LinuxOptions& options, Platform& platform,
                                          [[maybe_unused]] UserDefaults& store,
                                          [[maybe_unused]] const JSONSerialization& json,
                                          [[maybe_unused]] Application& application, const Log& log) {
  if (options.makeNetworkAccess) {
    return std::make_unique<HostAppsPiece<NetworkPiece, NoNetworkAccess>>(options.makeNetworkAccess,
                                                                          "makeNetworkAccess", platform, log);
  }
#if FLIPRUGAIR_CURL
  return std::make_unique<CurlPiece>(options, store, json, application, log);
#else
  throw std::runtime_error(
      "The platform was built without its network (FLIPRUGAIR_CURL), and the app has none of its own.");
#endif
}

std::string controlHostFromEnvironment(const LinuxOptions& options) {
  return options.allowControlHostFromEnvironment ? processVariable("FLIPRUGAIR_CONTROL_HOST").value_or("") : "";
}

std::unique_ptr<LocationPiece> openLocation(const LinuxOptions& options, Platform& platform, const Log& log) {
  if (options.makeLocationManager) {
    return std::make_unique<HostAppsPiece<LocationPiece, NoLocationManager>>(options.makeLocationManager,
                                                                             "makeLocationManager", platform, log);
  }
#if FLIPRUGAIR_GPS
  return std::make_unique<GpsdPiece>(options, log);
#else
  return std::make_unique<NoLocationPiece>();
#endif
}

}  // namespace fliprugair
