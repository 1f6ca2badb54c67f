#include "Fliprugair/install/InstallReport.h"
#include "tracker/Phone.h"

namespace fliprugair {
namespace {

/// A phone of a system version, whose report is due.
class DuePhone : public InstalledPhone {
 public:
  explicit DuePhone(std::string version) {
    store("watchProperties", nullptr);
    device.facts.systemVersion = std::move(version);
    parts().installReport.makeDue();
  }
};

TEST(InstallReport, LeavesAtOnceBelowSystemVersion7Point1) {
  DuePhone phone("7.0.9");
  phone.parts().installReport.initialEvent();
  ASSERT_EQ(phone.requests("initial").size(), 1U);
  EXPECT_EQ(phone.requests("initial")[0]["data"].dictionary()["device"], Value("iPhone8,1"));
  EXPECT_EQ(phone.stored("networkQueue").dictionary().size(), 1U);
  EXPECT_EQ(phone.stored("watchProperties").dictionary()["os_version"], Value("iOS 7.0.9"));
  EXPECT_FALSE(phone.parts().installReport.isInstallReportDue());
  EXPECT_TRUE(phone.events("search_ad_request").empty());
}

TEST(InstallReport, WaitsForSearchAdDetailsFromSystemVersion7Point1On) {
  DuePhone phone("7.1");
  phone.parts().installReport.initialEvent();
  EXPECT_EQ(phone.events("search_ad_request").size(), 1U);
  EXPECT_TRUE(phone.requests("initial").empty());
  EXPECT_TRUE(phone.stored("watchProperties").isNull());
  EXPECT_TRUE(phone.parts().installReport.isInstallReportDue());
}

TEST(InstallReport, LeavesWhenItIsParked) {
  DuePhone phone("9.3");
  phone.parts().installReport.initialEvent();
  phone.parts().installReport.sendParked();
  EXPECT_TRUE(phone.requests("initial").empty());
  phone.process.answerSearchAd(nullptr, false);
  phone.parts().installReport.sendParked();
  EXPECT_EQ(phone.requests("initial").size(), 1U);
  EXPECT_FALSE(phone.parts().installReport.isInstallReportDue());
  EXPECT_TRUE(phone.stored("initialPayload").isNull());
  phone.parts().installReport.sendParked();
  EXPECT_EQ(phone.requests("initial").size(), 1U);
}

TEST(InstallReport, IsOnlyQueuedBeforeTheFirstInitReply) {
  DuePhone phone("9.3");
  phone.store("firstInitReceived", false);
  phone.store("initialPayload", Value{{"action", "initial"}});
  phone.parts().installReport.sendParked();
  EXPECT_TRUE(phone.requests("initial").empty());
  EXPECT_EQ(phone.stored("networkQueue").dictionary().size(), 1U);
  EXPECT_FALSE(phone.parts().installReport.isInstallReportDue());
}

TEST(InstallReport, LogsItsReplyWhileLoggingIsOn) {
  DuePhone phone("9.3");
  phone.parts().MarluneInitialResult(Value{{"success", 0}});
  EXPECT_TRUE(phone.events("log").empty());
  phone.tracker->enableConsoleLogging(true);
  phone.parts().MarluneInitialResult(Value{{"success", 0}});
  EXPECT_EQ(phone.logged(R"(Marlune library - initial result: {"success":0})"), 1);
}

TEST(InstallReport, IsDueOnANewDeviceAndNotAgainAtALaterStart) {
  Phone fresh;
  const auto first = fresh.construct();
  EXPECT_EQ(fresh.stored("sendInitial"), Value(true));
  InstalledPhone phone;
  const auto later = phone.construct();
  EXPECT_EQ(phone.stored("sendInitial"), Value(false));
}

}  // namespace
}  // namespace fliprugair
