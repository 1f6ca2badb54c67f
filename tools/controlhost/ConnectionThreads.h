#pragma once

#include <httplib.h>

#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

namespace fliprugair::controlhost {

/// As many threads as there are connections, up to `most`; each serves another one when its own has ended.
class ConnectionThreads final : public httplib::TaskQueue {
 public:
  explicit ConnectionThreads(std::size_t most) : most_(most) {}

  /// Runs `serve` on a thread of its own, or on this one when there is none left.
  void enqueue(std::function<void()> serve) override;
  /// Waits for all of them.
  void shutdown() override;

 private:
  bool addThread();
  void work();

  const std::size_t most_;
  std::mutex mutex_;  ///< around the rest
  std::condition_variable changed_;
  std::list<std::function<void()>> waiting_;
  std::list<std::thread> threads_;
  std::size_t idle_ = 0;
  bool ending_ = false;
};

}  // namespace fliprugair::controlhost
