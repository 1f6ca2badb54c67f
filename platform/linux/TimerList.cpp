#include "platform/linux/TimerList.h"

#include <cstdint>
#include <vector>

namespace fliprugair {

class TimerList::ListedTimer final : public Timer {
 public:
  ListedTimer(std::weak_ptr<Timers> list, Key key, std::string_view selector, Action&& action)
      : list_(std::move(list)), key_(key), selector_(selector), action_(std::move(action)) {}

  void invalidate() override {
    const Action dropped = takeAction();
    const std::shared_ptr<Timers> list = list_.lock();
    // What the list held may have been the last reference, so nothing of this object is used afterwards.
    if (list != nullptr) list->erase(key_);
  }

  bool isValid() const override { return action_ != nullptr; }

  Action takeAction() { return std::exchange(action_, nullptr); }
  std::string_view selector() const { return selector_; }

 private:
  std::weak_ptr<Timers> list_;
  Key key_;
  std::string_view selector_;
  Action action_;
};

TimerList::TimerList() : timers_(std::make_shared<Timers>()) {}

std::shared_ptr<Timer> TimerList::add(TimePoint due, std::string_view selector, Action&& action) {
  const Key key{due, added_++};
  if (timers_ == nullptr) return std::make_shared<ListedTimer>(std::weak_ptr<Timers>(), key, selector, nullptr);
  auto timer = std::make_shared<ListedTimer>(timers_, key, selector, std::move(action));
  timers_->emplace(key, timer);
  return timer;
}

std::optional<TimerList::TimePoint> TimerList::nextDeadline() const {
  if (timers_ == nullptr || timers_->empty()) return std::nullopt;
  return timers_->begin()->first.first;
}

void TimerList::runDue(TimePoint now, FunctionRef<void(const Action&, std::string_view)> run) {
  if (timers_ == nullptr) return;
  std::vector<std::shared_ptr<ListedTimer>> due;
  due.reserve(timers_->size());  // before any leaves the list
  while (!timers_->empty() && timers_->begin()->first.first <= now) {
    due.push_back(std::move(timers_->begin()->second));
    timers_->erase(timers_->begin());
  }
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
  for (const auto& [key, timer] : left) timer->takeAction();
}

}  // namespace fliprugair
