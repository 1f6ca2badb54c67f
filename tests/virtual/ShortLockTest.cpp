#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/virtual/ShortLock.h"
#include "support/ThreadSleeps.h"

namespace fliprugair {
namespace {

TEST(ShortLock, LetsOneThreadInAtATime) {
  constexpr int threadCount = 4;
  constexpr int turns = 20000;
  ShortLock lock;
  int taken = 0;  // no atomic one: what one thread writes, the next one sees
  std::vector<std::thread> threads;
  for (int thread = 0; thread < threadCount; ++thread) {
    threads.emplace_back([&] {
      for (int turn = 0; turn < turns; ++turn) {
        const std::lock_guard guard(lock);
        ++taken;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(taken, threadCount * turns);
}

/// A thread that wants what the test has taken.
class Waiting {
 public:
  Waiting(ShortLock& lock, std::atomic<int>& taken)
      : thread_([this, &lock, &taken] {
          number_.set_value(gettid());
          const std::lock_guard guard(lock);
          ++taken;
        }) {
    const pid_t number = number_.get_future().get();
    while (!isAsleep(number)) std::this_thread::yield();
  }
  ~Waiting() { thread_.join(); }

 private:
  std::promise<pid_t> number_;
  std::thread thread_;
};

TEST(ShortLock, HasWhoeverWantsItSleepUntilItIsGivenBack) {
  ShortLock lock;
  std::atomic<int> taken = 0;
  lock.lock();
  {
    const Waiting first(lock, taken);
    const Waiting second(lock, taken);
    const Waiting third(lock, taken);
    EXPECT_EQ(taken, 0);
    lock.unlock();
  }
  EXPECT_EQ(taken, 3);
}

TEST(ShortLock, CanBeTakenAgainByWhomeverComesAfterThoseWhoWaited) {
  ShortLock lock;
  std::atomic<int> taken = 0;
  lock.lock();
  {
    const Waiting waiting(lock, taken);
    lock.unlock();
  }
  const std::lock_guard guard(lock);
  EXPECT_EQ(taken, 1);
}

}  // namespace
}  // namespace fliprugair
