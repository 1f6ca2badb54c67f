#include "Fliprugair/collaborators/MarluneNetworkAccess.h"
#include "linux/Support.h"
#include "platform/linux/CappedStore.h"
#include "support/UnreadableArray.h"

namespace fliprugair {
namespace {

const Value batchOfTwo{Array{Value{{"action", "event"}}, Value{{"action", "session"}}}};
const Value installReport{{"action", "initial"}};

/// A store in which two requests may wait.
class CappedStoreTest : public testing::Test {
 protected:
  void enqueue(const std::string& timestamp, const Value& request) {
    store_.update(key::networkQueue,
                  [&](const Value& queue) { return Value(queue.dictionary().setting(timestamp, request)); });
  }
  std::vector<std::string> waiting() const {
    std::vector<std::string> timestamps;
    const Value queue = store_.objectForKey(key::networkQueue);
    for (const auto& request : queue.dictionary().entries()) timestamps.push_back(request.key());
    return timestamps;
  }

  Record record_;
  const std::shared_ptr<MemoryUserDefaults> inner_ = std::make_shared<MemoryUserDefaults>();
  CappedStore store_{inner_, 2, record_.log()};
};

using Timestamps = std::vector<std::string>;

TEST_F(CappedStoreTest, KeepsAsManyRequestsAsMayWaitAndSaysNothing) {
  enqueue("1", batchOfTwo);
  enqueue("2", batchOfTwo);
  EXPECT_EQ(waiting(), (Timestamps{"1", "2"}));
  EXPECT_TRUE(record_.lines().empty());
}

TEST_F(CappedStoreTest, DropsTheOldestRequestWhenThereIsOneMoreAndCountsInTheLog) {
  for (const char* timestamp : {"1", "2", "3", "4"}) enqueue(timestamp, batchOfTwo);
  EXPECT_EQ(waiting(), (Timestamps{"3", "4"}));
  const std::vector<std::string> lines = record_.lines();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_NE(lines[1].find("more requests wait than the 2 that this app allows"), std::string::npos) << lines[1];
  EXPECT_NE(lines[1].find("dropped the oldest, 1 with 2 records; 2 since it was opened"), std::string::npos)
      << lines[1];
}

TEST_F(CappedStoreTest, DropsAndCountsWhatCannotBeRead) {
  for (const char* timestamp : {"1", "2", "3"}) enqueue(timestamp, UnreadableArray::value());
  EXPECT_EQ(waiting(), (Timestamps{"2", "3"}));
  const std::vector<std::string> lines = record_.lines();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_NE(lines[0].find("dropped the oldest, 1 with 7 records"), std::string::npos) << lines[0];
}

TEST_F(CappedStoreTest, NeverDropsTheReportOfTheInstallation) {
  enqueue("1", installReport);
  for (const char* timestamp : {"2", "3", "4"}) enqueue(timestamp, batchOfTwo);
  EXPECT_EQ(waiting(), (Timestamps{"1", "4"}));
}

TEST_F(CappedStoreTest, LetsTheReportOfTheInstallationInAlthoughAllWhoWaitAreReports) {
  for (const char* timestamp : {"1", "2", "3"}) enqueue(timestamp, installReport);
  EXPECT_EQ(waiting(), (Timestamps{"1", "2", "3"}));
  EXPECT_TRUE(record_.lines().empty());
}

TEST_F(CappedStoreTest, HasTheStoreBehindItMakeItsWritesDurable) {
  store_.synchronize();
  EXPECT_EQ(inner_->synchronizations, 1);
}

TEST_F(CappedStoreTest, LeavesTheOtherKeysAlone) {
  for (int number = 0; number < 4; ++number) {
    store_.update("records", [&](const Value& records) {
      return Value(records.dictionary().setting(std::to_string(number), batchOfTwo));
    });
  }
  EXPECT_EQ(store_.objectForKey("records").dictionary().size(), 4U);
}

TEST(LinuxOptions, AskForACapOfOneRequestAtLeast) {
  LinuxOptions options = isolatedOptions();
  options.mostWaitingRequests = 0;
  const auto environment = LinuxEnvironment::open(options).environment;
  ASSERT_NE(environment, nullptr);
  for (const char* timestamp : {"1", "2"}) {
    environment->userDefaults().update(key::networkQueue, [&](const Value& queue) {
      return Value(queue.dictionary().setting(timestamp, batchOfTwo));
    });
  }
  const Waiting waiting = environment->waiting();
  EXPECT_EQ(waiting.requests, 1U);
}

}  // namespace
}  // namespace fliprugair
