#include "platform/virtual/VirtualQueues.h"

#include <algorithm>
#include <cmath>

#include "platform/PairList.h"

namespace fliprugair {

namespace {

using Nanoseconds = VirtualDevice::Nanoseconds;

constexpr Nanoseconds never = static_cast<Nanoseconds>(1) << 126;

/// When a timer armed now is due. What lies beyond the range of the clock is never due.
Nanoseconds dueTime(Nanoseconds now, double seconds) {
  const double nanoseconds = std::round(std::max(seconds, 0.0) * 1e9);
  if (!(nanoseconds < static_cast<double>(never - now))) return never;
  return now + static_cast<Nanoseconds>(nanoseconds);
}

}  // namespace

void VirtualTasks::post(Task task) {
  const std::lock_guard lock(mutex_);
  if (!closed_) tasks_.push_back(std::move(task));
}

bool VirtualTasks::runEmpty() {
  bool any = false;
  while (true) {
    Task task;
    {
      const std::lock_guard lock(mutex_);
      if (tasks_.empty()) {
        tasks_.shrink_to_fit();
        return any;
      }
      task = std::move(tasks_.front());
      tasks_.erase(tasks_.begin());
    }
    any = true;
    task();
  }
}

void VirtualTasks::close() {
  std::vector<Task> dropped;  // destroyed after the lock: a task may own a tracker
  const std::lock_guard lock(mutex_);
  closed_ = true;
  dropped.swap(tasks_);
}

/// The armed timers by due time and order of arming. Timers may outlive the queue, so they share this.
struct VirtualMainQueue::Timers {
  using Position = std::pair<Nanoseconds, std::uint64_t>;
  std::map<Position, std::shared_ptr<VirtualTimer>> armed;
  std::uint64_t nextOrder = 0;
  VirtualDevice* device = nullptr;  ///< none once the queue is closed
};

class VirtualMainQueue::VirtualTimer final : public Timer {
 public:
  VirtualTimer(std::weak_ptr<Timers> timers, Timers::Position position, std::string_view selector, double seconds,
               Nanoseconds armedAt, Task action)
      : timers_(std::move(timers)),
        position_(position),
        selector_(selector),
        seconds_(seconds),
        armedAt_(armedAt),
        action_(std::move(action)) {}

  void invalidate() override {
    const auto timers = timers_.lock();
    if (timers == nullptr || timers->armed.erase(position_) == 0) return;
    timers->device->write(PairList().add("event", "timer_stopped").add("selector", selector_).dictionary());
  }

  bool isValid() const override {
    const auto timers = timers_.lock();
    return timers != nullptr && timers->armed.contains(position_);
  }

  void run() const { action_(); }
  const std::string& selector() const { return selector_; }

  double dueIn(Nanoseconds now) const {
    const auto [due, order] = position_;
    if (due == never) return seconds_ - static_cast<double>(now - armedAt_) / 1e9;
    return static_cast<double>(due - now) / 1e9;
  }

 private:
  std::weak_ptr<Timers> timers_;
  Timers::Position position_;
  std::string selector_;
  double seconds_;
  Nanoseconds armedAt_;
  Task action_;
};

VirtualMainQueue::VirtualMainQueue(VirtualDevice& device) : device_(device), timers_(std::make_shared<Timers>()) {
  timers_->device = &device;
}

VirtualMainQueue::~VirtualMainQueue() { close(); }

std::shared_ptr<Timer> VirtualMainQueue::scheduleTimer(double seconds, std::string_view selector, Task action) {
  const Timers::Position position{dueTime(device_.uptime(), seconds), timers_->nextOrder++};
  const auto timer =
      std::make_shared<VirtualTimer>(timers_, position, selector, seconds, device_.uptime(), std::move(action));
  device_.write(PairList().add("event", "timer_armed").add("selector", selector).add("seconds", seconds).dictionary());
  timers_->armed.emplace(position, timer);
  return timer;
}

std::optional<Nanoseconds> VirtualMainQueue::nextDeadline() const {
  if (timers_->armed.empty()) return std::nullopt;
  const Nanoseconds due = timers_->armed.begin()->first.first;
  return due == never ? std::nullopt : std::optional(due);
}

bool VirtualMainQueue::fireNext(Nanoseconds uptime) {
  const auto due = nextDeadline();
  if (!due || *due > uptime) return false;
  const auto next = timers_->armed.begin();
  const auto timer = next->second;
  device_.moveTo(std::max(device_.uptime(), next->first.first));
  timers_->armed.erase(next);
  device_.write(PairList().add("event", "timer_fired").add("selector", timer->selector()).dictionary());
  timer->run();
  return true;
}

std::vector<VirtualMainQueue::Armed> VirtualMainQueue::armed() const {
  std::vector<Armed> result;
  for (const auto& [position, timer] : timers_->armed) {
    result.push_back({timer->selector(), timer->dueIn(device_.uptime())});
  }
  return result;
}

void VirtualMainQueue::close() {
  timers_->armed.clear();
  tasks_.close();
}

}  // namespace fliprugair
