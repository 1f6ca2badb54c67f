#pragma once

#include <functional>
#include <mutex>
#include <vector>

#include "Fliprugair/platform/Export.h"

namespace fliprugair {

/// What the system tells an application about its life.
enum class ApplicationNotification { didFinishLaunching, didBecomeActive, willResignActive, willTerminate };

/// Delivers application notifications to those who subscribed.
/// Threads: any. Handlers run on the posting thread, one after the other in the order of subscription, with no lock
/// held.
class FLIPRUGAIR_EXPORT NotificationCenter {
 public:
  using Handler = std::function<void()>;

  /// `observer` only names the subscription for removeObserver.
  void addObserver(const void* observer, ApplicationNotification notification, Handler handler);

  /// Ends every subscription of `observer`. A delivery that has begun on another thread may still call it once.
  void removeObserver(const void* observer);

  /// Returns when every handler has.
  void post(ApplicationNotification notification);

 private:
  struct Subscription {
    const void* observer;
    ApplicationNotification notification;
    Handler handler;
  };

  std::mutex mutex_;
  std::vector<Subscription> subscriptions_;
};

}  // namespace fliprugair
