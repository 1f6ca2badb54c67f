#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <optional>
#include <thread>

#include "Fliprugair/collaborators/MarluneNetworkAccess.h"
#include "platform/sqlite/StoreMemory.h"
#include "support/ThreadSleeps.h"

namespace fliprugair {
namespace {

using namespace std::chrono_literals;

std::set<std::string> taken(StoreMemory& memory) {
  std::vector<StoreMemory::Write> writes;
  memory.takeWrites(writes);
  std::set<std::string> names;
  for (const StoreMemory::Write& write : writes) names.insert(*write.name);
  return names;
}

TEST(StoreMemory, GivesOutEachWriteOnce) {
  StoreMemory memory;
  memory.write("a", 1);
  EXPECT_EQ(taken(memory), std::set<std::string>{"a"});
  EXPECT_EQ(taken(memory), std::set<std::string>());
}

TEST(StoreMemory, KeepsWhatWasPostponedUntilTheOutermostGroupHasEnded) {
  StoreMemory memory;
  for (int depth = 0; depth < 3; ++depth) memory.beginGroup();
  EXPECT_TRUE(memory.postponeSynchronization());
  EXPECT_FALSE(memory.endGroup().synchronizes);
  EXPECT_FALSE(memory.endGroup().synchronizes);
  EXPECT_TRUE(memory.postponeSynchronization());
  EXPECT_TRUE(memory.endGroup().synchronizes);
  EXPECT_FALSE(memory.postponeSynchronization());
}

TEST(StoreMemory, GivesOutAnotherThreadsGroupWhole) {
  StoreMemory memory;
  std::promise<void> begun;
  std::atomic<bool> ended = false;
  std::thread other([&] {
    memory.beginGroup();
    memory.write("first", 1);
    begun.set_value();
    std::this_thread::sleep_for(10ms);  // what must not happen signals nothing: so long it is watched for
    memory.write("second", 2);
    ended = true;
    memory.endGroup();
  });
  begun.get_future().wait();
  EXPECT_EQ(taken(memory), (std::set<std::string>{"first", "second"}));
  EXPECT_TRUE(ended);
  other.join();
}

/// A machine that is busy is slow at times, one that waits for nothing always.
TEST(StoreMemory, GivesOutAnotherThreadsGroupAsSoonAsItHasEnded) {
  auto quickest = std::chrono::steady_clock::duration::max();
  const pid_t taker = gettid();
  for (int round = 0; round < 10; ++round) {
    StoreMemory memory;
    std::promise<void> begun;
    std::chrono::steady_clock::time_point end;
    std::thread other([&] {
      memory.beginGroup();
      memory.write("theirs", 1);
      begun.set_value();
      while (!isAsleep(taker)) std::this_thread::yield();
      end = std::chrono::steady_clock::now();
      memory.endGroup();
    });
    begun.get_future().wait();
    EXPECT_EQ(taken(memory), std::set<std::string>{"theirs"});
    const auto now = std::chrono::steady_clock::now();
    other.join();
    quickest = std::min(quickest, now - end);
  }
  EXPECT_LT(quickest, 25ms);
}

/// A thread that has done something, which is to write "theirs" unless told, in a group, and ends it at the destruction
/// at the latest.
class OtherGroup {
 public:
  explicit OtherGroup(
      StoreMemory& memory,
      const std::function<void(StoreMemory&)>& act = [](StoreMemory& its) { its.write("theirs", 1); }) {
    thread_ = std::thread([&, this] {
      memory.beginGroup();
      act(memory);
      hasActed_.set_value();
      mayEnd_.get_future().wait();
      memory.endGroup();
    });
    hasActed_.get_future().wait();
  }
  ~OtherGroup() {
    if (thread_.joinable()) end();
  }
  void end() {
    mayEnd_.set_value();
    thread_.join();
  }

 private:
  std::promise<void> hasActed_;
  std::promise<void> mayEnd_;
  std::thread thread_;
};

/// A thread that waits for something in `body`, and does already.
class WaitingThread {
 public:
  explicit WaitingThread(const std::function<void()>& body) {
    std::promise<pid_t> number;
    thread_ = std::thread([&number, body] {
      number.set_value(gettid());
      body();
    });
    const pid_t thread = number.get_future().get();
    while (!isAsleep(thread)) std::this_thread::yield();
  }
  void join() { thread_.join(); }

 private:
  std::thread thread_;
};

TEST(StoreMemory, DoesNotWaitForAGroupThatHasOnlyRead) {
  StoreMemory memory;
  memory.write("mine", 1);
  const OtherGroup other(memory, [](StoreMemory& its) { EXPECT_EQ(its.read("mine"), Value(1)); });
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(taken(memory), std::set<std::string>{"mine"});
  EXPECT_LT(std::chrono::steady_clock::now() - before, 40ms);
}

TEST(StoreMemory, WaitsOnlyOnceForAGroupInWhichForeignCodeBlocks) {
  StoreMemory memory;
  const OtherGroup other(memory);
  EXPECT_EQ(taken(memory), std::set<std::string>{"theirs"});
  const auto before = std::chrono::steady_clock::now();
  memory.write("mine", 1);
  EXPECT_EQ(taken(memory), std::set<std::string>{"mine"});
  EXPECT_LT(std::chrono::steady_clock::now() - before, 40ms);
}

TEST(StoreMemory, SaysWhetherAnotherThreadsGroupIsTorn) {
  StoreMemory memory;
  memory.beginGroup();
  memory.write("mine", 1);
  EXPECT_FALSE(memory.isTorn());
  OtherGroup other(memory);
  EXPECT_TRUE(memory.isTorn());
  other.end();
  EXPECT_FALSE(memory.isTorn());
}

TEST(StoreMemory, AwaitsTheGroupThatIsTornAndNoneThatWritesMeanwhile) {
  StoreMemory memory;
  OtherGroup first(memory);
  WaitingThread waiting([&] { memory.awaitGroups(); });
  const OtherGroup second(memory);  // which does not wait for the one that waits
  first.end();
  waiting.join();
  EXPECT_TRUE(memory.isTorn()) << "a group that was waited for in vain would not be waited for again";
}

/// A machine that is busy is slow at times, one that waits for nothing always.
TEST(StoreMemory, EndsItsWaitingAsSoonAsTheGroupHasEnded) {
  auto quickest = std::chrono::steady_clock::duration::max();
  for (int round = 0; round < 10; ++round) {
    StoreMemory memory;
    OtherGroup other(memory);
    WaitingThread waiting([&] { memory.awaitGroups(); });
    const auto before = std::chrono::steady_clock::now();
    other.end();
    waiting.join();
    quickest = std::min(quickest, std::chrono::steady_clock::now() - before);
  }
  EXPECT_LT(quickest, 25ms);
}

TEST(StoreMemory, StillDoesNotWaitForABlockedGroupWhenAnotherOneBlocksToo) {
  StoreMemory memory;
  const OtherGroup first(memory);
  memory.awaitGroups();
  const OtherGroup second(memory);
  memory.awaitGroups();
  EXPECT_FALSE(memory.isTorn());
}

TEST(StoreMemory, WritesWhatWasRestoredWhereTheFileHeldNothing) {
  StoreMemory memory;
  memory.adopt("a", Value());
  EXPECT_EQ(taken(memory), std::set<std::string>());
  memory.restore("a", 1);
  EXPECT_EQ(taken(memory), std::set<std::string>{"a"});
}

TEST(StoreMemory, MergesListsWithListsAndLetsWhatWasWrittenWinOtherwise) {
  const Value list = Array{1};
  const Value entries = Dictionary().setting("old", 1);
  struct Case {
    Value file;
    Value written;
    Value merged;
  };
  for (const Case& each :
       {Case{list, Value(), list}, Case{entries, Value(), entries}, Case{1, Value(), Value()}, Case{list, 2, 2},
        Case{entries, 2, 2}, Case{1, list, list}, Case{1, entries, entries}, Case{list, entries, entries},
        Case{entries, list, list}, Case{list, Array{2}, Array{1, 2}},
        Case{entries, Dictionary().setting("new", 2), Dictionary().setting("old", 1).setting("new", 2)}}) {
    StoreMemory memory;
    memory.write("key", each.written);
    memory.merge("key", each.file);
    EXPECT_EQ(memory.read("key"), each.merged);
  }
}

TEST(StoreMemory, AwaitsNoGroupThatHasNotWrittenYet) {
  StoreMemory memory;
  const OtherGroup blocked(memory);
  std::promise<void> hasBegun;
  std::promise<void> mayWrite;
  std::future<void> write = mayWrite.get_future();
  std::optional<OtherGroup> late;
  std::thread begins([&] {
    late.emplace(memory, [&](StoreMemory& its) {
      hasBegun.set_value();
      write.wait();
      its.write("late", 1);
    });
  });
  hasBegun.get_future().wait();
  WaitingThread waiting([&] { memory.awaitGroups(); });
  mayWrite.set_value();
  begins.join();
  waiting.join();
  EXPECT_TRUE(memory.isTorn()) << "it is to be taken whole, however long the other one blocks";
}

TEST(StoreMemory, AwaitsOnlyOnceAGroupInWhichForeignCodeBlocks) {
  StoreMemory memory;
  const OtherGroup other(memory);
  memory.awaitGroups();
  EXPECT_FALSE(memory.isTorn());
}

TEST(StoreMemory, SaysWhatHasBeenTakenAndNotForgottenSince) {
  StoreMemory memory;
  memory.write("a", 1);
  const StoreMemory::Mark first = memory.awaitGroups();
  EXPECT_FALSE(memory.isTaken(first));
  taken(memory);
  EXPECT_TRUE(memory.isTaken(first));
  memory.write("a", 2);
  EXPECT_TRUE(memory.isTaken(first));
  EXPECT_FALSE(memory.isTaken(memory.awaitGroups()));
  memory.forgetTaken();
  EXPECT_FALSE(memory.isTaken(first));
}

TEST(StoreMemory, KeepsTheListOfRequestsUnderWayOutOfTheFile) {
  StoreMemory memory;
  memory.write(key::eventsSending, Dictionary().setting("1", true));
  std::vector<StoreMemory::Write> writes;
  memory.forgetTaken();
  memory.takeWrites(writes);
  memory.adopt(key::eventsSending, Dictionary().setting("2", true));
  memory.takeWrites(writes);
  memory.merge(key::eventsSending, Dictionary().setting("3", true));
  memory.takeWrites(writes);
  EXPECT_EQ(writes.size(), 3U) << "what the file may hold is to go";
  for (const StoreMemory::Write& write : writes) EXPECT_TRUE(write.value.isNull());
  EXPECT_EQ(memory.read(key::eventsSending), Value(Dictionary().setting("1", true)));
}

TEST(StoreMemory, GivesOutTheGroupsOfManyThreadsWhole) {
  StoreMemory memory;
  std::atomic<bool> done = false;
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&, number] {
      const std::string left = "left " + std::to_string(number);
      const std::string right = "right " + std::to_string(number);
      for (int round = 0; !done; ++round) {
        memory.beginGroup();
        memory.write(left, round);
        memory.write(right, round);
        memory.endGroup();
      }
    });
  }
  std::map<std::string, std::int64_t> durable;
  for (int round = 0; round < 500; ++round) {
    std::vector<StoreMemory::Write> writes;
    memory.takeWrites(writes);
    for (const auto& write : writes) durable[*write.name] = write.value.integerValue();
    for (int number = 0; number < 4; ++number) {
      EXPECT_EQ(durable["left " + std::to_string(number)], durable["right " + std::to_string(number)]);
    }
  }
  done = true;
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace fliprugair
