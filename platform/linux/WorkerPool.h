#pragma once

#include <condition_variable>
#include <cstddef>
#include <list>
#include <mutex>
#include <thread>
#include <vector>

#include "Fliprugair/platform/MainQueue.h"
#include "Fliprugair/platform/linux/Log.h"
#include "platform/posix/ProcessMark.h"

namespace fliprugair {

/// The global queue: at most four threads (isThreadOf this object), each started when there is work for it for the
/// first time. What a task throws is logged and dropped. In a fork nothing is taken. Any thread. Whoever shares it with
/// tasks stops it before letting go of it: the last reference may be one that a task holds.
class WorkerPool final : public GlobalQueue {
 public:
  static constexpr std::size_t maximumThreads = 4;

  explicit WorkerPool(Log log) : log_(std::move(log)) {}
  ~WorkerPool() override { stop(); }
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  void async(Task task) override;

  /// Waits for the tasks that run, drops those that do not yet, and from now on those that come. Not from a task.
  void stop();

 private:
  void work();

  const ProcessMark process_;
  const Log log_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::list<Task> tasks_;
  std::vector<std::thread> threads_;
  std::size_t idle_ = 0;
  bool stopped_ = false;
};

}  // namespace fliprugair
