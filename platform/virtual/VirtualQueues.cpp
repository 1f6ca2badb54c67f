#include "platform/virtual/VirtualQueues.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace fliprugair {

namespace {

using Nanoseconds = VirtualDevice::Nanoseconds;

constexpr Nanoseconds never = static_cast<Nanoseconds>(1) << 126;

/// When a timer armed now is due. What lies beyond the range of the clock is never due.
Nanoseconds dueTime(Nanoseconds now, double seconds) {
  const double nanoseconds = std::round(std::max(seconds, 0.0) * 1e9);
  if (!(nanoseconds < static_cast<double>(never))) return never;
  return std::min(now + static_cast<Nanoseconds>(nanoseconds), never);
}

}  // namespace

void VirtualTasks::post(Task&& task) {
  const std::lock_guard lock(mutex_);
  if (closed_) return;
  tasks_.push_back(std::move(task));
  isEmpty_ = false;
}

bool VirtualTasks::runEmpty() {
  if (isEmpty_) return false;
  bool any = false;
  while (true) {
    Task task;
    {
      const std::lock_guard lock(mutex_);
      if (next_ == tasks_.size()) {
        forgetRun();
        return any;
      }
      task = std::move(tasks_[next_++]);
    }
    any = true;
    task();
  }
}

/// Only with the lock, and when all have been taken. A device that rests keeps room for its next event, and no more.
void VirtualTasks::forgetRun() {
  constexpr std::size_t usual = 2;
  tasks_.clear();
  if (tasks_.capacity() > usual) tasks_.shrink_to_fit();
  next_ = 0;
  isEmpty_ = true;
}

void VirtualTasks::close() {
  std::vector<Task> dropped;  // destroyed after the lock: a task may own a tracker
  const std::lock_guard lock(mutex_);
  closed_ = true;
  next_ = 0;
  isEmpty_ = true;
  dropped.swap(tasks_);
}

class VirtualMainQueue::VirtualTimer final : public Timer {
 public:
  VirtualTimer(VirtualMainQueue& queue, double seconds, std::string_view selector, Task&& action)
      : queue_(&queue),
        armedAt_(queue.device_.uptime()),
        due_(dueTime(armedAt_, seconds)),
        seconds_(seconds),
        selector_(selector),
        action_(std::move(action)) {}

  void invalidate() override {
    if (queue_ != nullptr) queue_->stop(*this);
  }
  bool isValid() const override { return queue_ != nullptr; }

  void leaveQueue() { queue_ = nullptr; }
  void run() const { action_(); }
  std::string_view selector() const { return selector_; }
  Nanoseconds due() const { return due_; }

  double dueIn(Nanoseconds now) const {
    if (due_ == never) return seconds_ - static_cast<double>(now - armedAt_) / 1e9;
    return static_cast<double>(due_ - now) / 1e9;
  }

 private:
  VirtualMainQueue* queue_;  ///< that it is armed in; null afterwards, for it may outlive the queue
  Nanoseconds armedAt_;
  Nanoseconds due_;
  double seconds_;
  std::string_view selector_;
  Task action_;
};

VirtualMainQueue::VirtualMainQueue(VirtualDevice& device) : device_(device) {}

VirtualMainQueue::~VirtualMainQueue() { close(); }

std::shared_ptr<Timer> VirtualMainQueue::scheduleTimer(double seconds, std::string_view selector, Task action) {
  auto timer = std::make_shared<VirtualTimer>(*this, seconds, selector, std::move(action));
  device_.write({"timer_armed", [&](PairList& event) { event.add("selector", selector).add("seconds", seconds); }});
  const auto isBefore = [](Nanoseconds due, const auto& other) { return due < other->due(); };
  armed_.insert(std::upper_bound(armed_.begin(), armed_.end(), timer->due(), isBefore), timer);
  return timer;
}

void VirtualMainQueue::stop(const VirtualTimer& timer) {
  const auto isIt = [&](const auto& each) { return each.get() == &timer; };
  const auto stopped = taken(std::find_if(armed_.begin(), armed_.end(), isIt));
  device_.write({"timer_stopped", [&](PairList& event) { event.add("selector", stopped->selector()); }});
}

/// Answers what was there: whoever stops or fires a timer goes on with it.
std::shared_ptr<VirtualMainQueue::VirtualTimer> VirtualMainQueue::taken(Timers::iterator place) {
  const auto timer = std::move(*place);
  armed_.erase(place);
  timer->leaveQueue();
  return timer;
}

std::optional<Nanoseconds> VirtualMainQueue::nextDeadline() const {
  if (armed_.empty() || armed_.front()->due() == never) return std::nullopt;
  return armed_.front()->due();
}

bool VirtualMainQueue::fireNext(Nanoseconds uptime) {
  const auto due = nextDeadline();
  if (!due || *due > uptime) return false;
  device_.moveTo(std::max(device_.uptime(), *due));
  const auto timer = taken(armed_.begin());
  device_.write({"timer_fired", [&](PairList& event) { event.add("selector", timer->selector()); }});
  timer->run();
  return true;
}

std::vector<VirtualMainQueue::Armed> VirtualMainQueue::armed() const {
  std::vector<Armed> result;
  for (const auto& timer : armed_) {
    result.push_back({std::string(timer->selector()), timer->dueIn(device_.uptime())});
  }
  return result;
}

void VirtualMainQueue::close() {
  for (const auto& timer : std::exchange(armed_, {})) timer->leaveQueue();
  tasks_.close();
}

}  // namespace fliprugair
