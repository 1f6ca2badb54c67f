#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "Fliprugair/platform/MainQueue.h"
#include "Fliprugair/platform/linux/Log.h"
#include "platform/linux/TimerList.h"
#include "platform/posix/ProcessMark.h"

namespace fliprugair {

/// The main queue, on libuv. It is turned by whoever calls run() or poll(); that thread is the main thread. Until the
/// first such call it is the thread that made the loop.
///
/// Posting costs a lock and an append; only the first task of a batch wakes the loop, which costs the caller several
/// times as much. The loop takes all that was posted at once. Inside run() it then looks once more a millisecond later,
/// so that a burst of calls on another thread wakes it but once, and sleeps until the next timer is due or a task
/// arrives. What a task throws is logged and dropped. In a fork nothing is taken and nothing runs.
class EventLoop final : public MainQueue {
 public:
  /// Throws std::runtime_error when the system has no file descriptors left for it.
  explicit EventLoop(Log log);
  ~EventLoop() override;
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  void async(Task task) override;
  /// As `async`, for a task that somebody waits for.
  void asyncAtOnce(Task task);
  std::shared_ptr<Timer> scheduleTimer(double seconds, std::string_view selector, Task action) override;

  /// Runs timers and tasks until stop(). Returns at once inside a task.
  void run();

  /// Ends run(), this one or the next, when the tasks posted before have run. Any thread.
  void stop();

  /// Runs the timers that are due and the tasks that are there, and returns. Does nothing inside a task.
  void poll();

  /// When poll() has something to do: now when there are tasks, none when there is neither a task nor
  /// a timer. Main thread only.
  std::optional<std::chrono::steady_clock::time_point> nextDeadline() const;

  /// Readable when there are tasks.
  int fileDescriptor() const;

  bool isMainThread() const { return mainThread_ == std::this_thread::get_id(); }
  void setMainThread(std::thread::id thread) { mainThread_ = thread; }

  /// Whether some thread is inside run() or poll().
  bool isTurning() const { return turning_; }

  /// Drops tasks and timers that are left, and from now on those that come. Not while the loop is being turned.
  void close();
  bool isClosed() const;

 private:
  struct Handles;
  enum class Turn { untilStopped, once };

  void turn(Turn how);
  void post(Task&& task, bool atOnce);
  void runTimersAndSetAlarm();
  void runTasks();
  void lookAgain();
  void endTurn();

  const ProcessMark process_;
  const Log log_;
  std::unique_ptr<Handles> handles_;  ///< null when closed
  TimerList timers_;
  std::vector<Task> batch_;
  bool runsUntilStopped_ = false;  ///< else what turns the loop is poll(), which leaves a stop to the next run()
  std::atomic<std::thread::id> mainThread_;
  std::atomic<bool> turning_ = false;
  std::atomic<bool> stopRequested_ = false;

  mutable std::mutex mutex_;  ///< around what is below, and around waking a loop that may be closed
  std::vector<Task> posted_;
  bool looksAgain_ = false;  ///< soon and by itself
  bool closed_ = false;
};

}  // namespace fliprugair
