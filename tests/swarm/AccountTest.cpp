// The books of one device.

#include <gtest/gtest.h>

#include "Fliprugair/collaborators/MarluneNetworkAccess.h"
#include "Fliprugair/events/BatchQueue.h"
#include "Fliprugair/install/InstallReport.h"
#include "platform/virtual/VirtualStore.h"
#include "tools/swarm/Account.h"

namespace fliprugair::swarm {
namespace {

Value event(std::uint32_t number) {
  return {{"action", "event"}, {"data", Value{{"event_data", std::to_string(number)}}}};
}

Value batch(std::initializer_list<std::uint32_t> numbers) {
  std::vector<Value> records;
  for (const std::uint32_t number : numbers) records.push_back(event(number));
  return Array(std::move(records));
}

/// An account with an installation and `events` events.
Account accountOf(int events) {
  Account account;
  for (int number = 0; number <= events; ++number) account.record();
  return account;
}

TEST(NumberSet, HoldsWhatCameInAnyOrder) {
  NumberSet numbers;
  for (const std::uint32_t number : {3U, 1U, 5U, 2U}) EXPECT_TRUE(numbers.insert(number)) << number;
  for (const std::uint32_t number : {1U, 2U, 3U, 5U}) EXPECT_FALSE(numbers.insert(number)) << number;
  EXPECT_FALSE(numbers.contains(4));
  EXPECT_EQ(numbers.size(), 4U);
  EXPECT_TRUE(numbers.insert(4));
  EXPECT_EQ(numbers.size(), 5U);
}

TEST(Account, CountsWhatTheDeviceKnowsToBeConfirmed) {
  Account account = accountOf(2);
  account.arrived(batch({2, 3}));
  account.confirmed(batch({2, 3}));
  VirtualStore store;
  store.setObject(true, key::sendInitial);
  const Records records = account.records(store.all());
  EXPECT_EQ(records.recorded, 3U);
  EXPECT_EQ(records.confirmed, 2U);
  EXPECT_EQ(records.waiting, 1U) << "the installation";
  EXPECT_EQ(records.unaccounted, 0U);
}

TEST(Account, FindsWhatWaitsInBothQueues) {
  Account account = accountOf(3);
  VirtualStore store;
  store.setObject(batch({4}), key::batchEventQueue);
  store.setObject(Value{{"1.000000", batch({2, 3})}, {"2.000000", Value{{"action", "initial"}}}}, key::networkQueue);
  const Records records = account.records(store.all());
  EXPECT_EQ(records.waiting, 4U);
  EXPECT_EQ(records.unaccounted, 0U);
}

TEST(Account, DoesNotCountAConfirmedRecordAsWaiting) {
  Account account = accountOf(1);
  account.confirmed(batch({2}));
  VirtualStore store;
  store.setObject(Value{{"1.000000", batch({2})}}, key::networkQueue);
  store.setObject(true, key::sendInitial);
  const Records records = account.records(store.all());
  EXPECT_EQ(records.confirmed, 1U);
  EXPECT_EQ(records.waiting, 1U);
}

TEST(Account, SeesThatARecordIsLost) {
  Account account = accountOf(2);
  account.confirmed(Value{{"action", "initial"}});
  account.confirmed(batch({2}));
  EXPECT_EQ(account.records(Dictionary()).unaccounted, 1U);
}

TEST(Account, CountsArrivalsOfWhatHadArrived) {
  Account account = accountOf(2);
  account.arrived(batch({2, 3}));
  account.arrived(batch({2, 3}));
  account.arrived(batch({3}));
  EXPECT_EQ(account.records(Dictionary()).twice, 3U);
  EXPECT_EQ(account.records(Dictionary()).needless, 0U) << "the device has heard nothing";
}

TEST(Account, CountsArrivalsOfWhatTheDeviceKnewToBeConfirmed) {
  Account account = accountOf(2);
  account.arrived(batch({2, 3}));
  account.confirmed(batch({2}));
  account.arrived(batch({2, 3}));
  EXPECT_EQ(account.records(Dictionary()).needless, 1U);
}

TEST(Account, TakesNoInstallationForNeedless) {
  Account account = accountOf(0);
  const Value report{{"action", "initial"}};
  account.arrived(report);
  account.confirmed(report);
  account.arrived(report);
  EXPECT_EQ(account.records(Dictionary()).twice, 1U);
  EXPECT_EQ(account.records(Dictionary()).needless, 0U) << "the host may ask for it";
}

}  // namespace
}  // namespace fliprugair::swarm
