#include "Fliprugair/install/InstallData.h"
#include "tracker/Phone.h"

namespace fliprugair {
namespace {

class ReportingPhone : public InstalledPhone {
 public:
  Dictionary data() { return parts().installData.gather().data; }
  Dictionary dataWithout(std::string_view name) {
    parts().facts.adoptBlacklist(Array({name}));
    return data();
  }
  Dictionary dataOn(std::string version) {
    device.facts.systemVersion = std::move(version);
    return data();
  }
};

TEST(InstallData, SaysWhatTheDeviceAndTheApplicationAre) {
  ReportingPhone phone;
  EXPECT_EQ(phone.data(), Value({{"device", "iPhone8,1"},
                                 {"language", "en"},
                                 {"package_name", "com.example.app"},
                                 {"app_version", "100"},
                                 {"app_short_string", "1.0"},
                                 {"os_version", "iOS 9.3"},
                                 {"app_limit_tracking", "0"},
                                 {"new_user", "0"},
                                 {"dev_id_strategy", "1"},
                                 {"is_genuine", "1"},
                                 {"currency", "usd"},
                                 {"usertime", "1700000000"},
                                 {"uptime", "0"},
                                 {"fb_attribution_id", ""},
                                 {"device_limit_tracking", "0"},
                                 {"idfv", "11111111-2222-4333-8444-555555555555"},
                                 {"idfa", "66666666-7777-4888-9999-AAAAAAAAAAAA"},
                                 {"disp_w", "750"},
                                 {"disp_h", "1334"},
                                 {"screen_brightness", 0.5},
                                 {"network_conn_type", "wifi"},
                                 {"device_orientation", "portrait"}})
                              .dictionary());
}

TEST(InstallData, GivesWhatLaterChecksCompareWith) {
  ReportingPhone phone;
  EXPECT_EQ(phone.parts().installData.gather().watched, reportedInstall().dictionary()["watchProperties"].dictionary());
}

TEST(InstallData, SaysWhetherTheDeviceLimitsTracking) {
  ReportingPhone phone;
  phone.device.facts.adTrackingEnabled = false;
  const InstallData::Report report = phone.parts().installData.gather();
  EXPECT_EQ(report.data["device_limit_tracking"], Value("1"));
  EXPECT_EQ(report.watched["device_limit_tracking"], Value("1"));
  EXPECT_EQ(phone.stored("device_limit_tracking"), Value(true));
}

TEST(InstallData, SaysWhatTheHostAppSaidOfItsUser) {
  ReportingPhone phone;
  phone.parts().installData.setIsNewUser(true);
  phone.store("app_limit_tracking", true);
  phone.tracker->setCustomIdString("custom");
  const InstallData::Report report = phone.parts().installData.gather();
  EXPECT_EQ(report.data["new_user"], Value("1"));
  EXPECT_EQ(report.data["app_limit_tracking"], Value("1"));
  EXPECT_EQ(report.watched["app_limit_tracking"], Value("1"));
  EXPECT_EQ(report.data["custom_id"], Value("custom"));
}

TEST(InstallData, CarriesAnEmptyCustomIdentifierButNoneThatIsNull) {
  ReportingPhone phone;
  EXPECT_FALSE(phone.data().holds("custom_id"));
  phone.tracker->setCustomIdString("");
  EXPECT_EQ(phone.data()["custom_id"], Value(""));
}

TEST(InstallData, CarriesTheIdentityLinkOfTheFirstStart) {
  ReportingPhone phone;
  EXPECT_FALSE(phone.data().holds("identity_link"));
  phone.parts().installData.storeIdentityLink(Value{{"user", "1"}});
  phone.parts().installData.storeIdentityLink(Value{{"user", "2"}});
  EXPECT_EQ(phone.data()["identity_link"], Value({{"user", "1"}}));
}

TEST(InstallData, LeavesOutWhatTheControlHostForbids) {
  struct Case {
    std::string_view name;
    std::vector<std::string_view> entries;
  };
  ReportingPhone all;
  const std::size_t entries = all.data().size();
  for (const Case& forbidden :
       {Case{"fb_attribution_id", {"fb_attribution_id"}}, Case{"idfv", {"idfv"}}, Case{"idfa", {"idfa"}},
        Case{"screen_size", {"disp_w", "disp_h"}}, Case{"screen_brightness", {"screen_brightness"}},
        Case{"network_conn_type", {"network_conn_type"}}, Case{"device_orientation", {"device_orientation"}}}) {
    ReportingPhone phone;
    const Dictionary data = phone.dataWithout(forbidden.name);
    for (const std::string_view entry : forbidden.entries) EXPECT_FALSE(data.holds(entry)) << entry;
    EXPECT_EQ(data.size(), entries - forbidden.entries.size()) << forbidden.name;
  }
}

TEST(InstallData, HasNoAdvertisingEntriesBelowSystemVersion6) {
  ReportingPhone phone;
  phone.device.facts.adTrackingEnabled = false;
  const Dictionary data = phone.dataOn("5.1");
  for (const std::string_view entry : {"device_limit_tracking", "idfv", "idfa"}) EXPECT_FALSE(data.holds(entry));
  EXPECT_EQ(phone.parts().installData.gather().watched["device_limit_tracking"], Value("0"));
}

TEST(InstallData, RemembersTheAdvertisingIdentifierThatItReports) {
  ReportingPhone phone;
  phone.device.facts.idfa = "NEW";
  phone.data();
  EXPECT_EQ(phone.stored("idfa"), Value("NEW"));
  phone.device.facts.idfa.reset();
  EXPECT_EQ(phone.data()["idfa"], Value(""));
  EXPECT_TRUE(phone.stored("idfa").isNull());
}

TEST(InstallData, ReadsTheScreenFromSystemVersion8On) {
  ReportingPhone phone;
  EXPECT_FALSE(phone.dataOn("7.9").holds("disp_w"));
  EXPECT_TRUE(phone.dataOn("8.0").holds("disp_w"));
}

TEST(InstallData, WritesPixelsAsWholeNumbersOf32Bits) {
  ReportingPhone phone;
  for (const auto& [pixels, text] : {std::pair(750.9, "750"), std::pair(-0.9, "0"), std::pair(1e12, "2147483647"),
                                     std::pair(-1e12, "-2147483648")}) {
    phone.device.facts.screen = Screen{pixels, 1, 0};
    EXPECT_EQ(phone.data()["disp_w"], Value(text));
  }
}

TEST(InstallData, CarriesTheReceiptFromFoundation1048On) {
  ReportingPhone phone;
  phone.device.facts.receipt = "bytes";
  for (const auto& [version, carries] :
       {std::pair(1047.0, false), std::pair(1047.9, false), std::pair(1048.0, true), std::pair(1280.25, true)}) {
    phone.device.facts.foundationVersion = version;
    EXPECT_EQ(phone.data().holds("receipt"), carries) << version;
  }
  EXPECT_EQ(phone.data()["receipt"], Value("Ynl0ZXM="));
  phone.device.facts.receipt.reset();
  EXPECT_FALSE(phone.data().holds("receipt"));
}

TEST(InstallData, LogsTheReceiptWhileLoggingIsOn) {
  ReportingPhone phone;
  phone.device.facts.receipt = "bytes";
  phone.data();
  EXPECT_TRUE(phone.events("log").empty());
  phone.tracker->enableConsoleLogging(true);
  phone.data();
  EXPECT_EQ(phone.logged("Marlune library - install receipt: Ynl0ZXM="), 1);
}

TEST(InstallData, TakesThePasteboardsTextAndLeavesOutOneWithout) {
  ReportingPhone phone;
  phone.device.facts.pasteboards["fb_app_attribution"] = "text";
  EXPECT_EQ(phone.data()["fb_attribution_id"], Value("text"));
  phone.device.facts.pasteboards["fb_app_attribution"] = Value();
  EXPECT_FALSE(phone.data().holds("fb_attribution_id"));
}

TEST(InstallData, NamesTheNetworkPath) {
  ReportingPhone phone;
  phone.device.facts.reachability = {true, true, Reachability::wirelessWideArea};
  EXPECT_EQ(phone.data()["network_conn_type"], Value("cellular"));
  phone.device.facts.reachability = {};
  EXPECT_FALSE(phone.data().holds("network_conn_type"));
}

TEST(InstallData, CallsTheLastTwoOrientationsLandscape) {
  ReportingPhone phone;
  for (const auto& [orientation, name] :
       {std::pair(0, "portrait"), std::pair(1, "portrait"), std::pair(2, "portrait"), std::pair(3, "landscape"),
        std::pair(4, "landscape"), std::pair(5, "portrait")}) {
    phone.device.facts.orientation = orientation;
    EXPECT_EQ(phone.data()["device_orientation"], Value(name)) << orientation;
  }
}

TEST(InstallData, MovesTheReferencePointOfTheUptimeDelta) {
  ReportingPhone phone;
  phone.device.setNow(1700000030);
  EXPECT_EQ(phone.data()["updelta"], Value("30"));
  EXPECT_FALSE(phone.data().holds("updelta"));
}

TEST(InstallData, EndsItsFirstEntriesBeforeOneThatIsMissing) {
  ReportingPhone phone;
  phone.device.facts.hardware = nullptr;
  const Dictionary data = phone.data();
  EXPECT_FALSE(data.holds("device"));
  EXPECT_FALSE(data.holds("uptime"));
  EXPECT_TRUE(data.holds("device_orientation"));
}

}  // namespace
}  // namespace fliprugair
