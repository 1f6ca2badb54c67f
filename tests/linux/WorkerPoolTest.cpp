#include <atomic>
#include <stdexcept>

#include "linux/Support.h"
#include "platform/linux/WorkerPool.h"
#include "platform/posix/Threads.h"

namespace fliprugair {
namespace {

TEST(WorkerPool, ATaskRunsOnAnotherThread) {
  std::thread::id thread;
  Happening ran;
  WorkerPool pool({});
  pool.async([&] {
    thread = std::this_thread::get_id();
    ran.happens();
  });
  ASSERT_TRUE(ran.happened());
  EXPECT_NE(thread, std::this_thread::get_id());
}

TEST(WorkerPool, AThreadKnowsThatItIsOneOfThePools) {
  bool own = false;
  Happening ran;
  WorkerPool pool({});
  pool.async([&] {
    own = isThreadOf(&pool);
    ran.happens();
  });
  ASSERT_TRUE(ran.happened());
  EXPECT_TRUE(own);
  EXPECT_FALSE(isThreadOf(&pool));
}

TEST(WorkerPool, SeveralTasksRunAtATime) {
  Happening met;
  std::atomic<std::size_t> there = 0;
  WorkerPool pool({});
  for (std::size_t task = 0; task < WorkerPool::maximumThreads; ++task) {
    pool.async([&] {
      if (++there == WorkerPool::maximumThreads) met.happens();
      met.happened();  // none ends before all have begun
    });
  }
  EXPECT_TRUE(met.happened());
}

TEST(WorkerPool, MoreTasksThanThreadsAllRun) {
  constexpr int tasks = 1000;
  std::atomic<int> run = 0;
  Happening all;
  WorkerPool pool({});
  for (int task = 0; task < tasks; ++task) {
    pool.async([&] {
      if (++run == tasks) all.happens();
    });
  }
  EXPECT_TRUE(all.happened());
}

TEST(WorkerPool, WhatATaskThrowsIsLoggedAndDropped) {
  Record record;
  Happening after;
  WorkerPool pool(record.log());
  pool.async([&] {
    pool.async([&] { after.happens(); });
    throw std::runtime_error("refused");
  });
  EXPECT_TRUE(after.happened());
  pool.stop();
  EXPECT_EQ(record.lines(), std::vector<std::string>{"A task of the global queue threw: refused"});
}

TEST(WorkerPool, StoppingWaitsForTheTasksThatRunAndDropsTheOthers) {
  WorkerPool pool({});
  Happening begun;
  std::atomic<bool> ended = false;
  std::atomic<std::size_t> running = 0;
  std::promise<void> release;
  const std::shared_future<void> released = release.get_future().share();
  for (std::size_t task = 0; task < WorkerPool::maximumThreads; ++task) {
    pool.async([&, released] {
      if (++running == WorkerPool::maximumThreads) begun.happens();
      released.wait();
      ended = true;
    });
  }
  ASSERT_TRUE(begun.happened());
  // The tasks that run go on only when the waiting one is dropped, by the very call that waits for them.
  bool ran = false;
  pool.async([&ran, held = std::shared_ptr<void>(nullptr, [&release](void*) { release.set_value(); })] { ran = true; });
  pool.stop();
  EXPECT_TRUE(ended);
  EXPECT_FALSE(ran);
  pool.async([&ran] { ran = true; });
  EXPECT_FALSE(ran);
}

}  // namespace
}  // namespace fliprugair
