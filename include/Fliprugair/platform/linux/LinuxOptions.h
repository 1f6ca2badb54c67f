#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Fliprugair/collaborators/MarluneLocationManager.h"
#include "Fliprugair/collaborators/MarluneNetworkAccess.h"
#include "Fliprugair/platform/Platform.h"
#include "Fliprugair/platform/StoreOptions.h"
#include "Fliprugair/platform/curl/CurlNetworkOptions.h"
#include "Fliprugair/platform/linux/HostFacts.h"
#include "Fliprugair/platform/linux/Log.h"
#include "Fliprugair/platform/linux/SearchAdSource.h"

namespace fliprugair {

/// Whose thread is the main thread, on which tasks, timers and lifecycle handlers run.
enum class MainThread {
  own,   ///< one of the platform's, started by the first lifecycle call; the host app has nothing to turn
  host,  ///< the one on which the host app calls run(), or poll() from a loop that it already has
};

/// What a host app can say about itself and its device when it opens the environment. Only the first entry, or else
/// `storePath`, is needed.
struct LinuxOptions {
  // The application's own package. A missing entry stays missing in what is reported.
  std::optional<std::string> bundleIdentifier = {};  ///< as "com.example.app"; also names the store's folder
  std::optional<std::string> shortVersion = {};      ///< what users call the version
  std::optional<std::string> version = {};           ///< the build
  std::filesystem::path receiptPath = {};            ///< the store receipt's file; empty: there is none

  MainThread mainThread = MainThread::own;

  /// How long a background task may run, and so how long terminate() waits for it. What is not sent by then is sent at
  /// the next start.
  std::chrono::milliseconds backgroundTaskTime = std::chrono::seconds(5);

  /// Takes every diagnostic line, from any thread, with no lock held; what it throws is dropped. Empty: standard error.
  Log log = {};

  /// Says on the log, also while logging is off and each line once: an option of a tracker that there is not, a start
  /// that fails, a first request that cannot be delivered; and what to do about it.
  bool advises = true;

  HostFacts facts = {};

  /// The store's file. Not given: fliprugair.sqlite in the folder $XDG_DATA_HOME/<bundleIdentifier>.
  std::optional<std::filesystem::path> storePath = {};
  StoreOptions store = {};

  /// How many requests may wait for the control host, 1 at least. With one more the oldest is dropped, which the log
  /// says with the count; the report of the installation stays. Not given: all wait until they are confirmed. A batch
  /// of up to 25 records is one request.
  std::optional<std::size_t> mostWaitingRequests = {};

  /// The application's own documents, in which a control host may ask for keyed archives by name. Empty: there are
  /// none.
  std::filesystem::path documentsFolder = {};

  CurlNetworkOptions network = CurlNetworkOptions();  ///< not `= {}`, of which GCC 12 warns in the host app's code

  /// Whether FLIPRUGAIR_CONTROL_HOST in the environment, when the environment is opened, takes the place of every
  /// control host, as `fliprugair-controlhost run` sets it. For development; whoever starts the application then says
  /// where its requests go.
  bool allowControlHostFromEnvironment = false;

  // The position service: "localhost" or a numeric address, and a port number.
  std::string gpsdHost = "localhost";
  std::string gpsdPort = "2947";

  /// Not given: every question is answered with "no details".
  SearchAdSource searchAdSource = {};

  // The host app's own implementations. Each replaces the platform's, and is needed for a store and a network that
  // were left out when the platform was built. Without location manager or archive reader nothing is found.
  std::shared_ptr<UserDefaults> userDefaults = {};
  std::shared_ptr<Documents> documents = {};
  std::function<std::shared_ptr<MarluneNetworkAccess>(Platform&)> makeNetworkAccess = {};
  std::function<std::shared_ptr<MarluneLocationManager>(Platform&)> makeLocationManager = {};
};

}  // namespace fliprugair
