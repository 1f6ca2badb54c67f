#include "platform/linux/LoopThread.h"

#include <system_error>
#include <utility>

#include "platform/posix/Threads.h"

namespace fliprugair {

bool LoopThread::start() {
  const std::lock_guard lock(mutex_);
  if (started_) return true;
  try {
    thread_ = startThread("fliprugair-main", this, [this] {
      loop_.run();
      loop_.close();
    });
  } catch (const std::system_error&) {
    return false;
  }
  started_ = true;
  // The loop says so too, but perhaps only after the caller has gone on and asked.
  loop_.setMainThread(thread_.get_id());
  return true;
}

bool LoopThread::join() {
  if (isThreadOf(this)) return false;
  std::thread thread;
  {
    const std::lock_guard lock(mutex_);
    thread = std::move(thread_);
  }
  if (thread.joinable()) thread.join();
  return true;
}

}  // namespace fliprugair
