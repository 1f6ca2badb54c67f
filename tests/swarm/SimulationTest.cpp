// A fleet in virtual time.

#include <gtest/gtest.h>

#include "tools/swarm/Simulation.h"

namespace fliprugair::swarm {
namespace {

Fleet fleetOf(std::uint64_t seed) {
  Fleet fleet;
  fleet.seed = seed;
  fleet.trackerOptions = Value{{"marluneAppId", "swarm"}, {"retrieveAttribution", true}};
  return fleet;
}

SimulationOptions optionsOf(std::uint32_t devices, Time length) {
  SimulationOptions options;
  options.devices = devices;
  options.length = length;
  return options;
}

SimulationReport run(const Fleet& fleet, const SimulationOptions& options) {
  return runSimulation(fleet, options, [](const SimulationRow&) { return true; });
}

TEST(Simulation, GivesTheSameForTheSameSeedOnAnyNumberOfThreads) {
  SimulationOptions options = optionsOf(9, day);
  const std::string once = csv(run(fleetOf(1), options));
  options.threads = 3;
  EXPECT_EQ(csv(run(fleetOf(1), options)), once);
  EXPECT_NE(csv(run(fleetOf(2), options)), once);
}

TEST(Simulation, TheSizeOfItsStepsChangesNoRequest) {
  SimulationOptions options = optionsOf(10, day);
  const SimulationReport coarse = run(fleetOf(1), options);
  options.step = 7 * minute;
  Traffic fine;
  for (const SimulationRow& row : run(fleetOf(1), options).rows) fine += row.traffic;
  Traffic all;
  for (const SimulationRow& row : coarse.rows) all += row.traffic;
  EXPECT_EQ(fine.requests, all.requests);
  EXPECT_EQ(fine.bytes, all.bytes);
}

TEST(Simulation, EveryKindOfRequestOccurs) {
  Fleet fleet = fleetOf(1);
  fleet.habits.daysBetweenUpdates = 1;
  Traffic all;
  for (const SimulationRow& row : run(fleet, optionsOf(9, 2 * day)).rows) all += row.traffic;
  for (std::size_t kind = 0; kind < requestKinds.size(); ++kind)
    EXPECT_GT(all.requests[kind], 0U) << requestKinds[kind];
}

TEST(Simulation, AccountsForEveryRecord) {
  const Records records = run(fleetOf(1), optionsOf(12, 2 * day)).records;
  EXPECT_GT(records.recorded, 12U);
  EXPECT_GT(records.confirmed, 12U);
  EXPECT_GT(records.waiting, 0U) << "some sessions are offline";
  EXPECT_EQ(records.recorded, records.confirmed + records.waiting);
  EXPECT_EQ(records.twice, 0U);
  EXPECT_EQ(records.unaccounted, 0U);
}

TEST(Simulation, InAnOutageRecordsWaitAndLaterAreConfirmed) {
  SimulationOptions options = optionsOf(12, day);
  options.host.outage = Outage{2 * hour, 12 * hour, Outage::Kind::refuse};
  const SimulationReport report = run(fleetOf(1), options);
  for (const SimulationRow& row : report.rows) {
    const bool isOut = row.begin >= 2 * hour && row.begin < 12 * hour;
    EXPECT_EQ(row.traffic.failed, isOut ? row.traffic.allRequests() : 0) << row.begin / hour;
  }
  EXPECT_GT(report.rows[11].waitingRequests, 2 * report.rows[1].waitingRequests);
  EXPECT_LT(report.rows[23].waitingRequests, report.rows[11].waitingRequests);
  EXPECT_EQ(report.records.unaccounted, 0U);
}

TEST(Simulation, RepliesThatGetLostBringRecordsTwice) {
  SimulationOptions options = optionsOf(12, day);
  options.host.outage = Outage{2 * hour, 12 * hour, Outage::Kind::lose};
  const Records records = run(fleetOf(1), options).records;
  EXPECT_GT(records.twice, 0U);
  EXPECT_EQ(records.needless, 0U);
  EXPECT_EQ(records.unaccounted, 0U);
}

TEST(Simulation, AnAppThatEndsBeforeItsReplyComesSendsThatRequestAgain) {
  Fleet fleet = fleetOf(1);
  fleet.habits.crashes = 1;
  fleet.habits.offline = 0;
  fleet.habits.sessionsADay = 200;
  fleet.habits.eventsASession = 100;
  fleet.habits.secondsBetweenEvents = 0.1;  // so that batches leave all the time, also just before the end
  const Records records = run(fleet, optionsOf(3, hour)).records;
  EXPECT_GT(records.twice, 0U);
  EXPECT_EQ(records.needless, 0U);
  EXPECT_EQ(records.unaccounted, 0U);
}

TEST(Simulation, AHostThatAsksToBackOffIsAskedOnceAMinuteByEachNewDevice) {
  Fleet fleet = fleetOf(1);
  fleet.habits.offline = 0;
  fleet.habits.installHours = 0;
  fleet.habits.restarts = 0;
  fleet.habits.crashes = 0;
  fleet.habits.sessionsADay = 0.01;  // nobody comes back within the hour
  SimulationOptions options = optionsOf(5, hour);
  options.host.outage = Outage{0, day, Outage::Kind::backOff};
  const SimulationReport report = run(fleet, options);
  // At once, then after 10, 20, 30, and each 60 seconds, to which each reply's time is added.
  EXPECT_NEAR(static_cast<double>(report.rows[0].traffic.requests[0]), 5 * (1 + 3 + 59), 5);
}

TEST(Simulation, TheHostsInitWaitSavesInitRequests) {
  SimulationOptions options = optionsOf(9, 2 * day);
  const auto inits = [&] {
    Traffic all;
    for (const SimulationRow& row : run(fleetOf(1), options).rows) all += row.traffic;
    return all.requests[0];
  };
  const std::uint64_t silent = inits();
  options.host.initWait = 604800;
  EXPECT_LT(inits(), silent);
}

TEST(Simulation, EndsEarlyWhenItIsToldTo) {
  const auto report = runSimulation(fleetOf(1), optionsOf(3, day), [](const SimulationRow&) { return false; });
  EXPECT_EQ(report.rows.size(), 1U);
}

TEST(Csv, HasARowForEachStepBelowTheNames) {
  SimulationReport report;
  SimulationRow row;
  row.begin = 30 * minute;
  row.traffic.requests = {1, 2, 3, 4, 5};
  row.traffic.failed = 6;
  row.traffic.records = 7;
  row.traffic.bytes = 8;
  row.busiestSecond = 9;
  row.waitingRequests = 10;
  report.rows.push_back(row);
  EXPECT_EQ(csv(report),
            "hour,requests,init,initial,update,batch,get_attribution,failed,records,bytes,busiest_second,"
            "waiting_requests\n0.500000,15,1,2,3,4,5,6,7,8,9,10\n");
}

}  // namespace
}  // namespace fliprugair::swarm
