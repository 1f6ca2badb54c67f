#include "platform/linux/EventLoop.h"

#include <uv.h>

#include <algorithm>
#include <cassert>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/linux/GuardedLog.h"

namespace fliprugair {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds secondLook{1};

/// Longer waits than anyone's process lives are cut to this, far from the clock's own bounds.
constexpr double longestWait = 100.0 * 365 * 24 * 60 * 60;

Clock::time_point timeIn(double seconds) {
  const double wait = seconds > 0 ? std::min(seconds, longestWait) : 0;  // not a number: 0
  return Clock::now() + std::chrono::ceil<Clock::duration>(std::chrono::duration<double>(wait));
}

}  // namespace

struct EventLoop::Handles {
  uv_loop_t loop;
  uv_async_t wake;
  uv_prepare_t beforeWaiting;
  uv_timer_t alarm;  ///< only ends the waiting; the timers themselves are run by our own, finer clock

  explicit Handles(EventLoop* owner) {
    const int result = uv_loop_init(&loop);
    if (result != 0) throw std::runtime_error(std::string("No event loop: ") + uv_strerror(result));
    loop.data = owner;
    const int woken = uv_async_init(&loop, &wake, [](uv_async_t* handle) { of(handle->loop).runTasks(); });
    if (woken != 0) {
      uv_loop_close(&loop);
      throw std::runtime_error(std::string("No event loop: ") + uv_strerror(woken));
    }
    uv_prepare_init(&loop, &beforeWaiting);
    uv_prepare_start(&beforeWaiting, [](uv_prepare_t* handle) { of(handle->loop).runTimersAndSetAlarm(); });
    uv_timer_init(&loop, &alarm);
  }

  ~Handles() {
    uv_walk(
        &loop, [](uv_handle_t* handle, void*) { uv_close(handle, nullptr); }, nullptr);
    uv_run(&loop, UV_RUN_DEFAULT);
    uv_loop_close(&loop);
  }

  Handles(const Handles&) = delete;
  Handles& operator=(const Handles&) = delete;

  static EventLoop& of(const uv_loop_t* loop) { return *static_cast<EventLoop*>(loop->data); }
};

EventLoop::EventLoop(Log log)
    : log_(std::move(log)), handles_(std::make_unique<Handles>(this)), mainThread_(std::this_thread::get_id()) {
  poll();  // libuv watches its descriptors from the first turn on: who waits for ours must not miss the first task
}

EventLoop::~EventLoop() { close(); }

void EventLoop::async(Task task) { post(std::move(task), false); }

void EventLoop::asyncAtOnce(Task task) { post(std::move(task), true); }

void EventLoop::post(Task&& task, bool atOnce) {
  if (!process_.isOwnProcess()) return;
  const std::lock_guard lock(mutex_);
  if (closed_) return;  // the caller's frame destroys the task, after the lock is gone
  posted_.push_back(std::move(task));
  // A loop that looks again by itself is woken for what shall not wait for that: a task that somebody waits for, and
  // one of its own thread's.
  const bool isToWake = looksAgain_ ? atOnce || isMainThread() : posted_.size() == 1;
  if (isToWake) uv_async_send(&handles_->wake);
}

std::shared_ptr<Timer> EventLoop::scheduleTimer(double seconds, std::string_view selector, Task action) {
  assert(isMainThread());
  return timers_.add(timeIn(seconds), selector, std::move(action));
}

void EventLoop::run() { turn(Turn::untilStopped); }

void EventLoop::poll() { turn(Turn::once); }

void EventLoop::turn(Turn how) {
  if (!process_.isOwnProcess() || handles_ == nullptr || turning_.exchange(true)) return;
  mainThread_ = std::this_thread::get_id();
  runsUntilStopped_ = how == Turn::untilStopped;
  if (runsUntilStopped_ && stopRequested_) uv_async_send(&handles_->wake);  // poll() may have used up the stop's own
  uv_run(&handles_->loop, how == Turn::once ? UV_RUN_NOWAIT : UV_RUN_DEFAULT);
  endTurn();
  turning_ = false;
}

void EventLoop::stop() {
  if (!process_.isOwnProcess()) return;
  const std::lock_guard lock(mutex_);
  if (closed_) return;
  stopRequested_ = true;
  uv_async_send(&handles_->wake);
}

std::optional<Clock::time_point> EventLoop::nextDeadline() const {
  if (!process_.isOwnProcess()) return std::nullopt;
  {
    const std::lock_guard lock(mutex_);
    if (!posted_.empty()) return Clock::now();
  }
  return timers_.nextDeadline();
}

int EventLoop::fileDescriptor() const { return handles_ == nullptr ? -1 : uv_backend_fd(&handles_->loop); }

void EventLoop::runTimersAndSetAlarm() {
  const auto runDue = [this] {
    timers_.runDue(Clock::now(), [this](const Task& action, std::string_view selector) {
      runGuarded(action, "The timer's action " + std::string(selector), log_);
    });
  };
  runGuarded(runDue, "Running timers", log_);

  uv_timer_stop(&handles_->alarm);
  std::optional<Clock::time_point> next = timers_.nextDeadline();
  {
    const std::lock_guard lock(mutex_);
    const auto look = Clock::now() + secondLook;
    if (looksAgain_ && (!next || *next > look)) next = look;
  }
  if (!next) return;
  // libuv counts in milliseconds from the time at which it last looked at the same clock. Rounded up, so that the loop
  // does not wake before something is due.
  uv_update_time(&handles_->loop);
  const std::uint64_t due = std::chrono::ceil<std::chrono::milliseconds>(next->time_since_epoch()).count();
  const std::uint64_t now = uv_now(&handles_->loop);
  uv_timer_start(
      &handles_->alarm, [](uv_timer_t* handle) { Handles::of(handle->loop).lookAgain(); }, due > now ? due - now : 0,
      0);
}

void EventLoop::runTasks() {
  const bool stopping = runsUntilStopped_ && stopRequested_.exchange(false);
  {
    const std::lock_guard lock(mutex_);
    std::swap(batch_, posted_);
    looksAgain_ = runsUntilStopped_ && !batch_.empty();
  }
  for (Task& task : batch_) {
    runGuarded(task, "A task of the main queue", log_);
    task = nullptr;  // what it held is gone before the next one runs
  }
  batch_.clear();
  if (stopping) uv_stop(&handles_->loop);
}

void EventLoop::lookAgain() {
  {
    const std::lock_guard lock(mutex_);
    if (!looksAgain_) return;
  }
  runTasks();
}

/// Whoever turns the loop next is woken by what is left.
void EventLoop::endTurn() {
  const std::lock_guard lock(mutex_);
  looksAgain_ = false;
  if (!posted_.empty()) uv_async_send(&handles_->wake);
}

bool EventLoop::isClosed() const {
  const std::lock_guard lock(mutex_);
  return closed_;
}

void EventLoop::close() {
  std::vector<Task> left;
  {
    const std::lock_guard lock(mutex_);
    closed_ = true;
    std::swap(left, posted_);
  }
  left.clear();
  timers_.close();
  handles_ = nullptr;
}

}  // namespace fliprugair
