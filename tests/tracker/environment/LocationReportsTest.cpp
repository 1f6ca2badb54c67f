#include "platform/virtual/VirtualCollaborators.h"
#include "tracker/Phone.h"

namespace fliprugair {
namespace {

const Value fix{{"latitude", 1.5}, {"longitude", 2.5}, {"accuracy", 10}};

/// A phone whose control host asks for positions at most every 15 minutes. The last one was found at 1700000000.
class Locating : public InstalledPhone {
 public:
  Locating() {
    store("lastLocationTime", 1700000000);
    parts().location.adoptSettings(50, 20, 15);
  }
  /// Whether a search begins at that age of the last fix.
  bool searchesAfter(double seconds) {
    device.setNow(1700000000 + seconds);
    forgetEvents();
    parts().location.checkReportLocation();
    process.runQueues();
    return !events("location_request").empty();
  }
  std::shared_ptr<VirtualLocationManager> manager() {
    return std::static_pointer_cast<VirtualLocationManager>(state().locMgr.load());
  }
};

TEST(LocationReports, AskForAFixOneSecondAfterTheStaleness) {
  Locating phone;
  EXPECT_FALSE(phone.searchesAfter(15 * 60));
  EXPECT_TRUE(phone.searchesAfter(15 * 60 + 1));
}

TEST(LocationReports, AskAtOnceWhenTheLastFixLiesInTheFuture) {
  Locating phone;
  EXPECT_TRUE(phone.searchesAfter(-1));
}

TEST(LocationReports, AskWithTheSettingsOfTheControlHost) {
  Locating phone;
  ASSERT_TRUE(phone.searchesAfter(1000));
  const Dictionary request = phone.events("location_request")[0];
  EXPECT_EQ(request["accuracy"], Value(50));
  EXPECT_EQ(request["timeout"], Value(20));
  EXPECT_EQ(request["logging"], Value(false));
}

TEST(LocationReports, AskForNothingUnlessTheControlHostDid) {
  Locating phone;
  phone.state().reportLocation = false;
  EXPECT_FALSE(phone.searchesAfter(1000));
}

TEST(LocationReports, NeedThePermissionOfTheSystem) {
  struct Case {
    bool enabled;
    int status;
    const char* version;
    bool approved;
  };
  for (const auto& [enabled, status, version, approved] :
       {Case{false, 3, "9.3", false}, Case{true, 0, "9.3", false}, Case{true, 1, "9.3", false},
        Case{true, 2, "9.3", false}, Case{true, 3, "5.0", true}, Case{true, 4, "7.9", false},
        Case{true, 4, "8.0", true}, Case{true, 5, "9.3", false}}) {
    Locating phone;
    phone.device.facts.locationServices = enabled;
    phone.device.facts.locationStatus = status;
    phone.device.facts.systemVersion = version;
    SCOPED_TRACE(std::to_string(status) + " on " + version);
    EXPECT_EQ(phone.parts().location.locationServicesApproved(), approved);
    EXPECT_EQ(phone.searchesAfter(1000), approved);
  }
}

TEST(LocationReports, SearchOneAtATime) {
  Locating phone;
  EXPECT_TRUE(phone.searchesAfter(1000));
  EXPECT_FALSE(phone.searchesAfter(5000));
}

TEST(LocationReports, SearchAgainAfterAFix) {
  Locating phone;
  ASSERT_TRUE(phone.searchesAfter(1000));
  phone.manager()->deliver(fix);
  EXPECT_EQ(phone.manager(), nullptr);
  EXPECT_TRUE(phone.searchesAfter(2000));
}

TEST(LocationReports, MakeOneRecordOfAFix) {
  Locating phone;
  ASSERT_TRUE(phone.searchesAfter(1000));
  phone.manager()->deliver(fix);
  ASSERT_EQ(phone.batch().size(), 1U);
  const Dictionary record = phone.batch()[0].dictionary();
  EXPECT_EQ(record["action"], Value("update"));
  EXPECT_EQ(record["data"], Value({{"location", Value{{"lat", 1.5}, {"lon", 2.5}, {"acc", 10}}}}));
  EXPECT_EQ(phone.stored("lastLocationTime"), Value(1700001000));
}

TEST(LocationReports, EndTheRecordBeforeTheFirstCoordinateThatIsMissing) {
  Locating phone;
  phone.parts().currentLocationUpdate(Value{{"latitude", 1}, {"accuracy", 3}});
  ASSERT_EQ(phone.batch().size(), 1U);
  EXPECT_EQ(phone.batch()[0].dictionary()["data"], Value({{"location", Value{{"lat", 1}}}}));
}

TEST(LocationReports, TakeOneFixOfASearch) {
  Locating phone;
  ASSERT_TRUE(phone.searchesAfter(1000));
  const auto manager = phone.manager();
  manager->deliver(fix);
  manager->deliver(fix);
  EXPECT_EQ(phone.batch().size(), 1U);
}

TEST(LocationReports, LetGoOfTheSearchWhenTheTrackerEnds) {
  Locating phone;
  ASSERT_TRUE(phone.searchesAfter(1000));
  const auto manager = phone.manager();
  phone.tracker.reset();
  phone.process.runQueues();
  manager->deliver(fix);
  EXPECT_TRUE(phone.batch().empty());
}

/// A search that counts who lets go of it.
class CountingManager final : public MarluneLocationManager {
 public:
  void setLocationManagerDelegate(std::weak_ptr<MarluneLocationManagerDelegate> delegate) override {
    detachments += delegate.expired() ? 1 : 0;
  }
  void initLocationServices(bool, std::int64_t, std::int64_t) override {}
  int detachments = 0;
};

TEST(LocationReports, TellTheSearchThatTheyHaveLetGoOfIt) {
  Locating phone;
  const auto manager = std::make_shared<CountingManager>();
  phone.state().locMgr.store(manager);
  phone.parts().currentLocationUpdate(fix);
  EXPECT_EQ(manager->detachments, 1);
  phone.state().locMgr.store(manager);
  phone.tracker.reset();
  phone.process.runQueues();
  EXPECT_EQ(manager->detachments, 2);
}

TEST(LocationReports, LogAFixWhileLoggingIsOn) {
  Locating phone;
  phone.parts().currentLocationUpdate(Value{{"latitude", 1}});
  EXPECT_TRUE(phone.events("log").empty());
  phone.tracker->enableConsoleLogging(true);
  phone.parts().currentLocationUpdate(Value{{"latitude", 1}});
  EXPECT_EQ(phone.logged(R"(Marlune library - current location: {"latitude":1})"), 1);
}

TEST(LocationReports, HaveNoFixOnANewDeviceAndKeepTheTimeOfAKnownOne) {
  Phone phone;
  const auto tracker = phone.construct();
  EXPECT_EQ(phone.stored("lastLocationTime"), Value(0));
  phone.store("lastLocationTime", 7);
  const auto later = phone.construct();
  EXPECT_EQ(phone.stored("lastLocationTime"), Value(7));
}

}  // namespace
}  // namespace fliprugair
