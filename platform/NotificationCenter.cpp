#include "Fliprugair/platform/NotificationCenter.h"

#include <utility>

namespace fliprugair {

void NotificationCenter::addObserver(const void* observer, ApplicationNotification notification, Handler handler) {
  const std::lock_guard lock(mutex_);
  subscriptions_.push_back({observer, notification, std::move(handler)});
}

void NotificationCenter::removeObserver(const void* observer) {
  std::vector<Subscription> removed;  // destroyed after the lock: a handler may own anything
  const std::lock_guard lock(mutex_);
  removed.reserve(subscriptions_.size());
  auto kept = subscriptions_.begin();
  for (Subscription& one : subscriptions_) {
    if (one.observer == observer) {
      removed.push_back(std::move(one));
    } else {
      if (&*kept != &one) *kept = std::move(one);  // what is moved onto itself may be empty then
      ++kept;
    }
  }
  subscriptions_.erase(kept, subscriptions_.end());
}

void NotificationCenter::post(ApplicationNotification notification) {
  std::vector<Handler> handlers;
  {
    const std::lock_guard lock(mutex_);
    for (const Subscription& one : subscriptions_) {
      if (one.notification == notification) handlers.push_back(one.handler);
    }
  }
  for (const Handler& handler : handlers) handler();
}

}  // namespace fliprugair
