#include "platform/linux/LinuxPieces.h"

#include <algorithm>
#include <stdexcept>
#include <utility>
#include <variant>

#include "platform/linux/CappedStore.h"
#include "platform/linux/GuardedLog.h"
#include "platform/linux/RedirectedNetworkAccess.h"
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
    throw std::runtime_error("The bundle identifier \"" + folder +
                             "\" cannot name a folder, where the store would be: give another one, as "
                             "\"com.example.app\", or the store's path.");
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
template <class StandIn, class Maker>
auto hostAppsMaker(Maker maker, const char* name, Platform& platform, const Log& log) {
  return [maker = std::move(maker), name, &platform, log] {
    decltype(maker(platform)) made;
    runGuarded([&] { made = maker(platform); }, name, log);
    return made != nullptr ? made : std::make_shared<StandIn>();
  };
}

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

Piece<MarluneNetworkAccess> openUnredirectedNetwork(const LinuxOptions& options, Platform& platform,
                                                    [[maybe_unused]] UserDefaults& store,
                                                    [[maybe_unused]] const JSONSerialization& json,
                                                    [[maybe_unused]] Application& application, const Log& log) {
  if (options.makeNetworkAccess) {
    return {.make = hostAppsMaker<NoNetworkAccess>(options.makeNetworkAccess, "makeNetworkAccess", platform, log)};
  }
#if FLIPRUGAIR_CURL
  const auto network = std::make_shared<CurlNetwork>(options.network, store, json, application, log, options.advises);
  return {.make = [network] { return network->makeAccess(); },
          .stop = [network] { network->stop(); },
          .isOwnThread = [network] { return network->isOwnThread(); },
          .isIdle = [network] { return network->isIdle(); },
          .whenIdle = [network](std::function<void()> action) { network->whenIdle(std::move(action)); },
          .adviseNoMore = [network] { network->adviseNoMore(); }};
#else
  throw std::runtime_error(
      "The platform was built without its network (FLIPRUGAIR_CURL), and the app has none of its own.");
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

Piece<MarluneNetworkAccess> openNetwork(const LinuxOptions& options, Platform& platform, UserDefaults& store,
                                        const JSONSerialization& json, Application& application, const Log& log) {
  Piece<MarluneNetworkAccess> network = openUnredirectedNetwork(options, platform, store, json, application, log);
  const std::optional<std::string> hostname = processVariable("FLIPRUGAIR_CONTROL_HOST");
  if (!options.allowControlHostFromEnvironment || !hostname || hostname->empty()) return network;
  network.make = [make = std::move(network.make), hostname = *hostname] {
    return std::make_shared<RedirectedNetworkAccess>(make(), hostname);
  };
  return network;
}

Piece<MarluneLocationManager> openLocation(const LinuxOptions& options, Platform& platform, const Log& log) {
  if (options.makeLocationManager) {
    return {.make =
                hostAppsMaker<NoLocationManager>(options.makeLocationManager, "makeLocationManager", platform, log)};
  }
#if FLIPRUGAIR_GPS
  const auto location = std::make_shared<GpsdLocation>(GpsdOptions{options.gpsdHost, options.gpsdPort}, log);
  return {.make = [location] { return location->makeManager(); },
          .stop = [location] { location->stop(); },
          .isOwnThread = [location] { return location->isOwnThread(); }};
#else
  return {.make = [] { return std::make_shared<NoLocationManager>(); }};
#endif
}

}  // namespace fliprugair
