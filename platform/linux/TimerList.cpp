#include "platform/linux/TimerList.h"

#include <algorithm>

namespace fliprugair {

class TimerList::ListedTimer final : public Timer {
 public:
  ListedTimer(std::weak_ptr<Timers> list, TimePoint due, std::string_view selector, Action&& action)
      : list_(std::move(list)), due_(due), selector_(selector), action_(std::move(action)) {}

  void invalidate() override {
    const Action dropped = takeAction();
    const std::shared_ptr<Timers> list = list_.lock();
    if (list == nullptr) return;
    const auto isThis = [this](const auto& each) { return each.get() == this; };
    const auto place = std::find_if(list->begin(), list->end(), isThis);
    // What the list held may have been the last reference, so nothing of this object is used afterwards.
    if (place != list->end()) list->erase(place);
  }

  bool isValid() const override { return action_ != nullptr; }

  Action takeAction() { return std::exchange(action_, nullptr); }
  TimePoint due() const { return due_; }
  std::string_view selector() const { return selector_; }

 private:
  std::weak_ptr<Timers> list_;
  TimePoint due_;
  std::string_view selector_;
  Action action_;
};

TimerList::TimerList() : timers_(std::make_shared<Timers>()) {}

std::shared_ptr<Timer> TimerList::add(TimePoint due, std::string_view selector, Action&& action) {
  if (timers_ == nullptr) return std::make_shared<ListedTimer>(std::weak_ptr<Timers>(), due, selector, nullptr);
  auto timer = std::make_shared<ListedTimer>(timers_, due, selector, std::move(action));
  timers_->insert(firstAfter(due), timer);
  return timer;
}

std::optional<TimerList::TimePoint> TimerList::nextDeadline() const {
  if (timers_ == nullptr || timers_->empty()) return std::nullopt;
  return timers_->front()->due();
}

TimerList::Timers::iterator TimerList::firstAfter(TimePoint time) const {
  return std::upper_bound(timers_->begin(), timers_->end(), time,
                          [](TimePoint earlier, const auto& timer) { return earlier < timer->due(); });
}

void TimerList::runDue(TimePoint now, FunctionRef<void(const Action&, std::string_view)> run) {
  if (timers_ == nullptr) return;
  const auto end = firstAfter(now);
  const Timers due(timers_->begin(), end);
  timers_->erase(timers_->begin(), end);
  for (const std::shared_ptr<ListedTimer>& timer : due) {
    const Action action = timer->takeAction();
    if (action != nullptr) run(action, timer->selector());
  }
}

void TimerList::close() {
  const std::shared_ptr<Timers> timers = std::exchange(timers_, nullptr);
  if (timers == nullptr) return;
  // An action that is destroyed may invalidate other timers: they must not find the list that is being emptied.
  const Timers left = std::exchange(*timers, {});
  for (const auto& timer : left) timer->takeAction();
}

}  // namespace fliprugair
