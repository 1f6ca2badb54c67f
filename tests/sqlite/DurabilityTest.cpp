#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <random>
#include <thread>

#include "Fliprugair/collaborators/MarluneNetworkAccess.h"
#include "platform/sqlite/Database.h"
#include "platform/sqlite/RowFile.h"
#include "sqlite/StoreTest.h"

namespace fliprugair {
namespace {

TEST(SQLiteStore, WhatWasSynchronizedSurvivesASuddenDeath) {
  const TemporaryFolder folder;
  const auto store = openStore(folder / "store");
  store->setObject("kept", "key");
  store->synchronize();
  store->setObject("not yet", "key");
  EXPECT_EQ(AfterSuddenDeath(folder / "store")->objectForKey("key"), Value("kept"));
}

TEST(SQLiteStore, DestructionMakesPendingWritesDurable) {
  const TemporaryFolder folder;
  {
    const auto store = openStore(folder / "store");
    store->beginGroup();
    store->setObject(1, "key");
  }
  EXPECT_EQ(openStore(folder / "store")->objectForKey("key"), Value(1));
}

TEST(SQLiteStore, LeavesOneFileAndTheLockBehind) {
  const TemporaryFolder folder;
  openStore(folder / "store")->setObject(1, "key");
  std::size_t files = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder.path())) ++files;
  EXPECT_EQ(files, 2U);
  EXPECT_TRUE(std::filesystem::exists(folder / "store.lock"));
}

TEST(SQLiteStore, RemovesTheListOfRequestsUnderWayThatAnOlderVersionHasLeft) {
  const TemporaryFolder folder;
  const std::string path = (folder / "store").string();
  const std::string name(key::eventsSending);
  RowFile(path, StoreDurability::process)
      .write({Row{-1, 0, 1, name, Dictionary()}, Row{1, 0, 1, name, Dictionary()}, Row{2, 1, 2, "1.0", true}}, {});
  const auto store = openStore(path);
  EXPECT_EQ(store->objectForKey(name), Value());
  store->synchronize();
  EXPECT_EQ(Database(path, Database::Mode::readWrite).integer("SELECT count(*) FROM rows WHERE id > 0"), 0);
}

TEST(SQLiteStore, CreatesMissingFolders) {
  const TemporaryFolder folder;
  openStore(folder / "a/b/c/store")->setObject(1, "key");
  EXPECT_EQ(openStore(folder / "a/b/c/store")->objectForKey("key"), Value(1));
}

TEST(SQLiteStore, KeepsItsValuesWhenItIsToSurviveAPowerCut) {
  const TemporaryFolder folder;
  const auto store = openStore(folder / "store", {}, surviving);
  store->setObject(1, "key");
  store->synchronize();
  EXPECT_EQ(AfterSuddenDeath(folder / "store")->objectForKey("key"), Value(1));
}

TEST(StoreGroups, BecomeDurableTogetherWhenTheOutermostEnds) {
  const TemporaryFolder folder;
  const auto store = openStore(folder / "store");
  {
    const StoreGroup outer(*store);
    store->setObject(1, "a");
    store->synchronize();
    {
      const StoreGroup inner(*store);
      store->setObject(2, "b");
      store->synchronize();
    }
    AfterSuddenDeath before(folder / "store");
    EXPECT_TRUE(before->objectForKey("a").isNull());
    EXPECT_TRUE(before->objectForKey("b").isNull());
    EXPECT_EQ(store->objectForKey("b"), Value(2));
  }
  AfterSuddenDeath after(folder / "store");
  EXPECT_EQ(after->objectForKey("a"), Value(1));
  EXPECT_EQ(after->objectForKey("b"), Value(2));
}

TEST(StoreGroups, WithoutSynchronizeWriteNothing) {
  const TemporaryFolder folder;
  const auto store = openStore(folder / "store");
  {
    const StoreGroup group(*store);
    store->setObject(1, "key");
  }
  EXPECT_TRUE(AfterSuddenDeath(folder / "store")->objectForKey("key").isNull());
}

TEST(StoreGroups, OfOneThreadDoNotHoldUpAnother) {
  const TemporaryFolder folder;
  const auto store = openStore(folder / "store");
  const StoreGroup group(*store);
  store->setObject(1, "here");
  std::thread([&] {
    store->setObject(2, "there");
    store->synchronize();
  }).join();
  AfterSuddenDeath after(folder / "store");
  EXPECT_EQ(after->objectForKey("here"), Value(1));
  EXPECT_EQ(after->objectForKey("there"), Value(2));
}

TEST(StoreGroups, AnEndWithoutABeginningDoesNothing) {
  const TemporaryFolder folder;
  const auto store = openStore(folder / "store");
  store->endGroup();
  store->setObject(1, "key");
  store->synchronize();
  EXPECT_EQ(AfterSuddenDeath(folder / "store")->objectForKey("key"), Value(1));
}

TEST(DurableActions, RunBeforeTheCallReturnsWhenNoGroupIsOpen) {
  const TemporaryFolder folder;
  const auto store = openStore(folder / "store");
  store->setObject(1, "key");
  int runs = 0;
  store->whenDurable([&] {
    ++runs;
    EXPECT_EQ(AfterSuddenDeath(folder / "store")->objectForKey("key"), Value(1));
  });
  EXPECT_EQ(runs, 1);
}

TEST(DurableActions, WaitInTheirOrderForTheEndOfTheOutermostGroup) {
  const TemporaryFolder folder;
  const auto store = openStore(folder / "store");
  std::vector<int> order;
  {
    const StoreGroup outer(*store);
    {
      const StoreGroup inner(*store);
      store->whenDurable([&] {
        order.push_back(1);
        EXPECT_EQ(AfterSuddenDeath(folder / "store")->objectForKey("key"), Value("written after the action was given"));
      });
    }
    store->whenDurable([&] { order.push_back(2); });
    EXPECT_TRUE(order.empty());
    store->setObject("written after the action was given", "key");
  }
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

TEST(DurableActions, MayWriteAndGiveFurtherOnes) {
  const TemporaryFolder folder;
  const auto store = openStore(folder / "store");
  int runs = 0;
  {
    const StoreGroup group(*store);
    store->whenDurable([&] {
      const StoreGroup another(*store);
      store->setObject(1, "key");
      store->whenDurable([&] { ++runs; });
      EXPECT_EQ(runs, 0);
    });
  }
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(AfterSuddenDeath(folder / "store")->objectForKey("key"), Value(1));
}

TEST(DurableActions, OfOneThreadDoNotWaitForTheGroupOfAnother) {
  const TemporaryFolder folder;
  const auto store = openStore(folder / "store");
  const StoreGroup group(*store);
  bool hasRun = false;
  std::thread([&] { store->whenDurable([&] { hasRun = true; }); }).join();
  EXPECT_TRUE(hasRun);
}

TEST(DurableActions, RunEvenIfTheMediumRefuses) {
  const TemporaryFolder folder;
  StoreLog log;
  std::ofstream(folder / "blocker") << "a file where a folder should be";
  const auto store = openStore(folder / "blocker/store", log.sink(), joining);
  bool hasRun = false;
  store->whenDurable([&] { hasRun = true; });
  EXPECT_TRUE(hasRun);
  EXPECT_EQ(log.lines().size(), 1U);
}

/// Writes numbered records for ever, as the batch queue does, and reports each number once it is durable.
[[noreturn]] void writeRecords(const std::filesystem::path& file, int report) {
  const auto store = openStore(file);
  for (int number = static_cast<int>(store->integerForKey("last")) + 1;; ++number) {
    {
      const StoreGroup group(*store);
      const Array queue = store->objectForKey("queue").array().appending(record(number));
      store->setObject(queue, "queue");
      store->setObject(number, "last");
      if (queue.size() == 25) {
        store->update(
            "sent", [&](const Value& sent) { return Value(sent.dictionary().setting(std::to_string(number), queue)); });
        store->removeObject("queue");
      }
      store->synchronize();
    }
    if (write(report, &number, sizeof number) != sizeof number) _exit(1);
  }
}

TEST(SQLiteStore, EveryCommitIsWholeAndThereAfterKill9) {
  const TemporaryFolder folder;
  std::minstd_rand random(1);
  int confirmed = 0;
  for (int round = 0; round < 15; ++round) {
    int pipeEnds[2];
    ASSERT_EQ(pipe(pipeEnds), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) writeRecords(folder / "store", pipeEnds[1]);
    close(pipeEnds[1]);
    int number = 0;
    const int target = confirmed + 1 + static_cast<int>(random() % 120);
    while (confirmed < target && read(pipeEnds[0], &number, sizeof number) == sizeof number) confirmed = number;
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 500));  // into its next write
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    while (read(pipeEnds[0], &number, sizeof number) == sizeof number) confirmed = number;
    close(pipeEnds[0]);
    ASSERT_GE(confirmed, target);

    const auto store = openStore(folder / "store");
    const auto last = static_cast<int>(store->integerForKey("last"));
    EXPECT_TRUE(last == confirmed || last == confirmed + 1) << last << " after " << confirmed;
    int expected = 0;
    for (const auto& batch : store->objectForKey("sent").dictionary().entries()) {
      EXPECT_EQ(batch.value.array().size(), 25U);
      for (const Value& item : batch.value.array()) ASSERT_EQ(item, record(++expected));
      EXPECT_EQ(batch.key(), std::to_string(expected));
    }
    for (const Value& item : store->objectForKey("queue").array()) ASSERT_EQ(item, record(++expected));
    EXPECT_EQ(expected, last);
    confirmed = last;
  }
}

}  // namespace
}  // namespace fliprugair
