#include "tracker/Phone.h"

namespace fliprugair {
namespace {

using Notification = ApplicationNotification;

class RunningPhone : public InstalledPhone {
 public:
  void post(Notification notification) {
    process.post(notification);
    process.runQueues();
  }
  std::vector<std::string> states() const {
    std::vector<std::string> states;
    for (const Value& record : batch()) {
      if (record.dictionary()["action"] == Value("session")) {
        states.push_back(record.dictionary()["data"].dictionary()["state"].text());
      }
    }
    return states;
  }
};

using States = std::vector<std::string>;

TEST(Lifecycle, NotesTheTimeOfAnActivation) {
  RunningPhone phone;
  phone.device.setNow(1700000500);
  phone.post(Notification::didBecomeActive);
  EXPECT_EQ(phone.stored("timeAppBecameActive"), Value(1700000500));
}

TEST(Lifecycle, RecordsASessionFromActivationToResignation) {
  RunningPhone phone;
  phone.post(Notification::didBecomeActive);
  EXPECT_EQ(phone.states(), States({"resume"}));
  phone.forgetEvents();
  phone.post(Notification::willResignActive);
  const auto sends = phone.events("send");
  ASSERT_EQ(sends.size(), 1U);
  ASSERT_EQ(sends[0]["payload"].array().size(), 2U);
  EXPECT_EQ(sends[0]["payload"].array()[1].dictionary()["data"].dictionary()["state"], Value("pause"));
}

TEST(Lifecycle, RecordsNoSessionWhileTheyAreNotTracked) {
  RunningPhone phone;
  phone.store("sessionTracking", 2);
  phone.post(Notification::didBecomeActive);
  phone.post(Notification::willResignActive);
  EXPECT_TRUE(phone.batch().empty());
  EXPECT_TRUE(phone.events("send").empty());
}

TEST(Lifecycle, RecordsNoSessionWhileTheInstallReportIsDue) {
  RunningPhone phone;
  phone.store("sendInitial", true);
  phone.post(Notification::didBecomeActive);
  phone.post(Notification::willResignActive);
  EXPECT_TRUE(phone.batch().empty());
}

TEST(Lifecycle, FlushesNothingAtAResignationWhileTheInstallReportIsDue) {
  RunningPhone phone;
  phone.tracker->trackEvent("event", "value");
  phone.store("sendInitial", true);
  phone.post(Notification::willResignActive);
  EXPECT_EQ(phone.batch().size(), 1U);
  EXPECT_EQ(phone.timers("batchQueueTimerFired:").size(), 1U);
}

TEST(Lifecycle, FlushesWhatWaitsAtAResignationThoughSessionsAreNotTracked) {
  RunningPhone phone;
  phone.store("sessionTracking", 2);
  phone.tracker->trackEvent("event", "value");
  phone.post(Notification::willResignActive);
  EXPECT_EQ(phone.events("send").size(), 1U);
  EXPECT_TRUE(phone.timers("batchQueueTimerFired:").empty());
}

TEST(Lifecycle, StopsTheBatchTimerAtTerminationAndFlushesNothing) {
  RunningPhone phone;
  phone.tracker->trackEvent("event", "value");
  phone.process.runQueues();
  EXPECT_EQ(phone.timers("batchQueueTimerFired:").size(), 1U);
  phone.post(Notification::willTerminate);
  EXPECT_TRUE(phone.timers("batchQueueTimerFired:").empty());
  EXPECT_EQ(phone.batch().size(), 1U);
}

TEST(Lifecycle, ChecksTheDevicesLimitAtAnActivation) {
  RunningPhone phone;
  phone.device.facts.adTrackingEnabled = false;
  phone.post(Notification::didBecomeActive);
  EXPECT_EQ(phone.stored("device_limit_tracking"), Value(true));
  EXPECT_EQ(phone.requests("update").size(), 1U);
}

TEST(Lifecycle, ChecksThePositionAtAnActivation) {
  RunningPhone phone;
  phone.parts().location.adoptSettings(50, 15, 15);
  phone.post(Notification::didBecomeActive);
  EXPECT_EQ(phone.events("location_request").size(), 1U);
}

TEST(Lifecycle, ChecksNeitherAtTheFirstActivationAfterALaunch) {
  RunningPhone phone;
  phone.device.facts.adTrackingEnabled = false;
  phone.parts().location.adoptSettings(50, 15, 15);
  phone.post(Notification::didFinishLaunching);
  EXPECT_TRUE(phone.state().skipBecameActive);
  phone.post(Notification::didBecomeActive);
  EXPECT_FALSE(phone.state().skipBecameActive);
  EXPECT_TRUE(phone.events("location_request").empty());
  EXPECT_TRUE(phone.requests("update").empty());
  phone.post(Notification::didBecomeActive);
  EXPECT_EQ(phone.events("location_request").size(), 1U);
  EXPECT_EQ(phone.requests("update").size(), 1U);
}

TEST(Lifecycle, OffersWhatFailedAgainAtAnActivation) {
  RunningPhone phone;
  phone.store("networkQueue", Value{{"1.000000", Value{{"action", "update"}}}});
  phone.sendsOddities();  // no more of a request than this test needs
  phone.post(Notification::didBecomeActive);
  EXPECT_EQ(phone.requests("update").size(), 1U);
}

TEST(Lifecycle, HearsNothingMoreOnceTheTrackerHasEnded) {
  RunningPhone phone;
  phone.tracker.reset();
  phone.process.runQueues();
  phone.device.setNow(1700000500);
  for (const Notification notification : {Notification::didFinishLaunching, Notification::didBecomeActive,
                                          Notification::willResignActive, Notification::willTerminate}) {
    phone.post(notification);
  }
  EXPECT_EQ(phone.stored("timeAppBecameActive"), Value(1700000000));
  EXPECT_FALSE(phone.state().skipBecameActive);
  EXPECT_TRUE(phone.batch().empty());
}

}  // namespace
}  // namespace fliprugair
