#include "Fliprugair/install/PropertyUpdates.h"
#include "tracker/Phone.h"

namespace fliprugair {
namespace {

class CheckedPhone : public InstalledPhone {
 public:
  /// What a check sends: the changes, or null when it sends nothing.
  Value check() {
    forgetEvents();
    parts().properties.checkWatchPropertiesChanged();
    process.runQueues();
    const auto updates = requests("update");
    return updates.empty() ? Value() : updates[0]["data"];
  }
};

TEST(PropertyUpdates, SendNothingWhileNothingHasChanged) {
  CheckedPhone phone;
  EXPECT_TRUE(phone.check().isNull());
}

TEST(PropertyUpdates, ReportEachPropertyOnceThatHasChanged) {
  struct Case {
    std::string_view name;
    Value now;
    std::function<void(Phone&)> change;
  };
  for (const Case& property : {
           Case{"app_limit_tracking", "1", [](Phone& phone) { phone.store("app_limit_tracking", true); }},
           Case{"app_short_string", "2.0",
                [](Phone& phone) { phone.device.facts.bundle["CFBundleShortVersionString"] = "2.0"; }},
           Case{"app_version", "200", [](Phone& phone) { phone.device.facts.bundle["CFBundleVersion"] = "200"; }},
           Case{"device_limit_tracking", "1", [](Phone& phone) { phone.store("device_limit_tracking", true); }},
           Case{"language", "de", [](Phone& phone) { phone.device.facts.languages = {"de"}; }},
           Case{"os_version", "iOS 9.4", [](Phone& phone) { phone.device.facts.systemVersion = "9.4"; }},
       }) {
    SCOPED_TRACE(property.name);
    CheckedPhone phone;
    property.change(phone);
    EXPECT_EQ(phone.check(), with(Dictionary(), property.name, property.now));
    EXPECT_EQ(phone.stored("watchProperties").dictionary()[property.name], property.now);
    EXPECT_TRUE(phone.check().isNull());
  }
}

TEST(PropertyUpdates, ReportASystemThatIsNotKnownToBeGenuine) {
  CheckedPhone phone;
  phone.store("watchProperties", with(phone.stored("watchProperties"), "is_genuine", "0"));
  EXPECT_EQ(phone.check(), Value({{"is_genuine", "1"}}));
}

TEST(PropertyUpdates, LeaveOutFlagsThatAreOffWhenNothingWasReportedYet) {
  CheckedPhone phone;
  phone.store("watchProperties", nullptr);
  EXPECT_EQ(phone.check(), Value({{"app_short_string", "1.0"},
                                  {"app_version", "100"},
                                  {"is_genuine", "1"},
                                  {"language", "en"},
                                  {"os_version", "iOS 9.3"}}));
}

TEST(PropertyUpdates, TakeAMissingBundleVersionForNoChange) {
  CheckedPhone phone;
  phone.device.facts.bundle.erase("CFBundleVersion");
  EXPECT_TRUE(phone.check().isNull());
}

TEST(PropertyUpdates, ReportAMissingShortVersionAsEmptyText) {
  CheckedPhone phone;
  phone.device.facts.bundle.erase("CFBundleShortVersionString");
  EXPECT_EQ(phone.check(), Value({{"app_short_string", ""}}));
}

TEST(PropertyUpdates, LeaveAsTheyAreWhatTheyDoNotWatch) {
  CheckedPhone phone;
  phone.store("watchProperties", with(phone.stored("watchProperties"), "other", 1));
  phone.device.facts.languages = {"de"};
  phone.check();
  EXPECT_EQ(phone.stored("watchProperties").dictionary()["other"], Value(1));
}

class AdvertisingPhone : public CheckedPhone {
 public:
  AdvertisingPhone() {
    store("sendIdUpdates", true);
    device.facts.idfa = "NEW";
  }
};

TEST(PropertyUpdates, ReportANewAdvertisingIdentifierOnce) {
  AdvertisingPhone phone;
  EXPECT_EQ(phone.check(), Value({{"idfa", "NEW"}}));
  EXPECT_EQ(phone.stored("idfa"), Value("NEW"));
  EXPECT_TRUE(phone.check().isNull());
}

TEST(PropertyUpdates, ReportNoAdvertisingIdentifierThatNobodyAskedFor) {
  AdvertisingPhone phone;
  phone.store("sendIdUpdates", false);
  EXPECT_TRUE(phone.check().isNull());
}

TEST(PropertyUpdates, ReportNoAdvertisingIdentifierThatIsForbidden) {
  AdvertisingPhone phone;
  phone.parts().facts.adoptBlacklist(Array({"idfa"}));
  EXPECT_TRUE(phone.check().isNull());
  EXPECT_NE(phone.stored("idfa"), Value("NEW"));
}

TEST(PropertyUpdates, ReportNoAdvertisingIdentifierThatIsGone) {
  AdvertisingPhone phone;
  phone.device.facts.idfa.reset();
  EXPECT_TRUE(phone.check().isNull());
  EXPECT_FALSE(phone.stored("idfa").isNull());
}

TEST(PropertyUpdates, ReadAnewUserAgentAfterASystemUpdate) {
  CheckedPhone phone;
  phone.device.facts.userAgent = "New/2.0";
  phone.device.facts.languages = {"de"};
  phone.check();
  EXPECT_EQ(phone.stored("userAgent"), Value("VirtualDevice/1.0"));
  phone.device.facts.systemVersion = "10.0";
  phone.check();
  EXPECT_EQ(phone.stored("userAgent"), Value("New/2.0"));
}

TEST(PropertyUpdates, KeepTheUserAgentWhenThereIsNoNewOne) {
  CheckedPhone phone;
  phone.device.facts.userAgent = nullptr;
  phone.device.facts.systemVersion = "10.0";
  phone.check();
  EXPECT_EQ(phone.stored("userAgent"), Value("VirtualDevice/1.0"));
}

TEST(PropertyUpdates, AskForAUserAgentAtAStartWhileThereIsNone) {
  for (const auto& [stored, asks] : {std::pair(Value(), 1U), std::pair(Value(""), 1U), std::pair(Value("x"), 0U)}) {
    Phone phone;
    phone.store("userAgent", stored);
    const auto tracker = phone.construct();
    EXPECT_EQ(phone.events("user_agent_request").size(), asks);
    EXPECT_EQ(phone.stored("userAgent"), asks == 1 ? Value("VirtualDevice/1.0") : Value("x"));
  }
}

TEST(PropertyUpdates, StoreEmptyTextForAUserAgentThatIsNotAvailable) {
  Phone phone;
  phone.device.facts.userAgent = nullptr;
  const auto tracker = phone.construct();
  EXPECT_EQ(phone.stored("userAgent"), Value(""));
}

TEST(PropertyUpdates, StoreAndReportTheUsersChoiceInTheApp) {
  InstalledPhone phone;
  phone.tracker->setLimitAdTracking(true);
  EXPECT_EQ(phone.stored("app_limit_tracking"), Value(true));
  phone.tracker->setLimitAdTracking(true);
  ASSERT_EQ(phone.requests("update").size(), 1U);
  EXPECT_EQ(phone.requests("update")[0]["data"], Value({{"app_limit_tracking", "1"}}));
  phone.tracker->setLimitAdTracking(false);
  EXPECT_EQ(phone.requests("update").size(), 2U);
}

TEST(PropertyUpdates, ReportTheUsersChoiceOnTheDevice) {
  InstalledPhone phone;
  phone.device.facts.adTrackingEnabled = false;
  phone.parts().properties.checkDeviceLimitTracking();
  phone.parts().properties.checkDeviceLimitTracking();
  EXPECT_EQ(phone.stored("device_limit_tracking"), Value(true));
  ASSERT_EQ(phone.requests("update").size(), 1U);
  EXPECT_EQ(phone.requests("update")[0]["data"], Value({{"device_limit_tracking", "1"}}));
}

TEST(PropertyUpdates, KeepTheChoiceInTheAppWhenTheDevicesChanges) {
  InstalledPhone phone;
  phone.tracker->setLimitAdTracking(true);
  phone.device.facts.adTrackingEnabled = false;
  phone.parts().properties.checkDeviceLimitTracking();
  EXPECT_EQ(phone.stored("app_limit_tracking"), Value(true));
}

TEST(PropertyUpdates, DoNotTestTheDevicesChoiceBelowSystemVersion6) {
  InstalledPhone phone;
  phone.device.facts.systemVersion = "5.1";
  phone.device.facts.adTrackingEnabled = false;
  phone.parts().properties.checkDeviceLimitTracking();
  EXPECT_FALSE(phone.stored("device_limit_tracking").boolValue());
  EXPECT_TRUE(phone.requests("update").empty());
}

TEST(PropertyUpdates, ReportIdentifiersFromTheControlHostsWordOn) {
  InstalledPhone phone;
  EXPECT_EQ(phone.stored("sendIdUpdates"), Value(false));
  phone.parts().properties.adoptIdUpdates("yes");
  EXPECT_EQ(phone.stored("sendIdUpdates"), Value(true));
  phone.parts().properties.adoptIdUpdates(nullptr);
  phone.tracker = phone.construct();
  EXPECT_EQ(phone.stored("sendIdUpdates"), Value(true));
  phone.parts().properties.adoptIdUpdates(0);
  EXPECT_EQ(phone.stored("sendIdUpdates"), Value(false));
}

}  // namespace
}  // namespace fliprugair
