#include "Fliprugair/core/Lifecycle.h"

namespace fliprugair {

void Lifecycle::subscribe(NotificationCenter& center) {
  const auto on = [&](ApplicationNotification notification, void (Lifecycle::*handler)()) {
    center.addObserver(this, notification, [this, weak = context_.owner(), handler] {
      if (const auto tracker = weak.lock()) context_.perform([&] { (this->*handler)(); });
    });
  };
  on(ApplicationNotification::didFinishLaunching, &Lifecycle::appDidLaunch);
  on(ApplicationNotification::didBecomeActive, &Lifecycle::appDidBecomeActive);
  on(ApplicationNotification::willResignActive, &Lifecycle::appWillResignActive);
  on(ApplicationNotification::willTerminate, &Lifecycle::appWillTerminate);
}

void Lifecycle::unsubscribe(NotificationCenter& center) { center.removeObserver(this); }

void Lifecycle::appDidLaunch() { shared_.skipBecameActive = true; }

void Lifecycle::appDidBecomeActive() {
  clock_.noteActivation();
  if (sessions_.areTracked() && !installReport_.isInstallReportDue()) sessions_.sessionEvent("resume");
  sendQueueEvents();
  // The first activation after a launch ends here.
  if (shared_.skipBecameActive.exchange(false)) return;
  properties_.checkDeviceLimitTracking();
  location_.checkReportLocation();
}

void Lifecycle::sendQueueEvents() {
  requests_.resendQueuedRequests();
  batch_.catchUp();
}

void Lifecycle::appWillResignActive() {
  if (installReport_.isInstallReportDue()) return;
  // The pause record comes before the flush, so that it travels in the same batch.
  if (sessions_.areTracked()) sessions_.sessionEvent("pause");
  if (!batch_.isEmpty()) batch_.flushBatchQueue(true);
  batch_.stopTrackerWaitTimer();
}

void Lifecycle::appWillTerminate() { batch_.stopTrackerWaitTimer(); }

}  // namespace fliprugair
