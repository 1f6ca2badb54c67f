#include <gtest/gtest.h>

#include "Fliprugair/collaborators/MarluneNetworkAccess.h"
#include "linux/ReportKeys.h"
#include "platform/json/RapidJSONSerialization.h"
#include "platform/linux/StoredReports.h"
#include "support/MemoryUserDefaults.h"
#include "support/UnreadableArray.h"

namespace fliprugair {
namespace {

constexpr std::string_view parkedInstall = "com.marlune.MarluneTracker.initialPayload";
constexpr std::string_view requests = key::networkQueue;

Value recordOf(int second) { return Value{{"data", Value{{"usertime", second}}}}; }

class StoredReportsTest : public testing::Test {
 protected:
  Waiting waiting() const { return reports_.waiting(RapidJSONSerialization()); }
  std::int64_t oldest() const {
    const auto time = waiting().oldest;
    return time ? std::chrono::duration_cast<std::chrono::seconds>(time->time_since_epoch()).count() : 0;
  }

  MemoryUserDefaults store_;
  StoredReports reports_{store_};
};

TEST_F(StoredReportsTest, AreAllConfirmedWhenNothingWaits) {
  EXPECT_TRUE(reports_.areAllConfirmed());
  EXPECT_FALSE(reports_.areReadyToFlush());
  EXPECT_EQ(waiting().text(), "");
  EXPECT_EQ(waiting().bytes, 0U);
  EXPECT_FALSE(waiting().oldest);
}

TEST_F(StoredReportsTest, AreNotAllConfirmedWhileAnyKindOfThemWaits) {
  for (const auto& [key, value] :
       std::initializer_list<std::pair<std::string_view, Value>>{{installIsDue, true},
                                                                 {parkedInstall, Value{{"action", "initial"}}},
                                                                 {records, Array({recordOf(1)})},
                                                                 {requests, Value{{"1", Value{{"action", "init"}}}}}}) {
    MemoryUserDefaults store;
    store.setObject(value, key);
    EXPECT_FALSE(StoredReports(store).areAllConfirmed()) << key;
    EXPECT_EQ(StoredReports(store).areReadyToFlush(), key == records) << key;
  }
}

TEST_F(StoredReportsTest, AreFlushedOnlyOnceTheInstallationIsReported) {
  store_.setObject(Array({recordOf(1)}), records);
  EXPECT_TRUE(reports_.areReadyToFlush());
  store_.setObject(true, installIsDue);
  EXPECT_FALSE(reports_.areReadyToFlush());
}

TEST_F(StoredReportsTest, AreCountedInWordsAndInBytesOfText) {
  store_.setObject(true, installIsDue);
  store_.setObject(Array({recordOf(1), recordOf(2)}), records);
  store_.setObject(Value{{"5", Array()}}, requests);
  EXPECT_EQ(waiting().text(), "the install report, 2 records, 1 request");
  const std::string record = R"({"data":{"usertime":1}})";
  EXPECT_EQ(waiting().bytes, 2 * record.size() + std::string("[]").size());
}

TEST_F(StoredReportsTest, AreAsOldAsTheFirstRecordOrRequest) {
  store_.setObject(Array({recordOf(1700000005), recordOf(1700000003), recordOf(0)}), records);
  EXPECT_EQ(oldest(), 1700000003);
  store_.setObject(Value{{"100", Array()}}, requests);
  EXPECT_EQ(oldest(), 978307200 + 100);
  store_.setObject(Value{{"900000000.5", Array({recordOf(1700000001), recordOf(1)})}}, requests);
  EXPECT_EQ(oldest(), 1700000001);
  store_.setObject(Value{{"100", Array({recordOf(1700000001)})}}, requests);
  EXPECT_EQ(oldest(), 978307200 + 100);
  store_.setObject(Value{{"100", Array({recordOf(0)})}}, requests);
  EXPECT_EQ(oldest(), 978307200 + 100);
}

TEST_F(StoredReportsTest, AreCountedOnceEachAlthoughTheyCannotBeReadAtAllOrOnlyOnce) {
  store_.setObject(Value{{"100", UnreadableArray::value()}, {"200", UnreadableArray::value(1)}, {"300", Array()}},
                   requests);
  EXPECT_EQ(waiting().requests, 3U);
  EXPECT_EQ(waiting().text(), "3 requests");
  EXPECT_EQ(waiting().bytes, std::string("[]").size());
  EXPECT_EQ(oldest(), 978307200 + 300);
  EXPECT_FALSE(reports_.areAllConfirmed());
}

}  // namespace
}  // namespace fliprugair
