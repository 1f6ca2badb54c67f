#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

namespace fliprugair {

using BackgroundTaskIdentifier = std::uint64_t;

/// Stands for "no background task".
inline constexpr BackgroundTaskIdentifier invalidBackgroundTask = 0;

/// The running application as its system sees it.
class Application {
 public:
  virtual ~Application() = default;

  /// Asks the system to let the process live until endBackgroundTask, or until its patience is over: then
  /// `expirationHandler` runs, on the main thread. Any thread. Never answers invalidBackgroundTask.
  virtual BackgroundTaskIdentifier beginBackgroundTask(std::string_view name,
                                                       std::function<void()> expirationHandler) = 0;

  /// Any thread. A task that is unknown or has ended is ignored.
  virtual void endBackgroundTask(BackgroundTaskIdentifier task) = 0;

  /// 0 unknown, 1 portrait, 2 portrait upside down, 3 and 4 landscape.
  virtual int statusBarOrientation() const = 0;
};

}  // namespace fliprugair
