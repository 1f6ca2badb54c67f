#include "Fliprugair/environment/DeviceFacts.h"
#include "tracker/Phone.h"

namespace fliprugair {
namespace {

class Facts {
 public:
  Phone phone;
  Context::Shared contextShared;
  Context context{phone.platform(), contextShared};
  DeviceFacts::Shared shared;
  DeviceFacts facts{context, shared, phone.platform().device(), phone.platform().bundle()};
};

TEST(DeviceFacts, ReadTheSystemVersionInSinglePrecision) {
  Facts of;
  of.phone.device.facts.systemVersion = "7.1";
  EXPECT_LT(static_cast<double>(of.facts.systemVersion()), 7.1);
  EXPECT_GT(static_cast<double>(of.facts.systemVersion()), 7.0999);
  of.phone.device.facts.systemVersion = "beta";
  EXPECT_EQ(of.facts.systemVersion(), 0.0F);
}

TEST(DeviceFacts, NameTheSystemWithItsVersion) {
  Facts of;
  EXPECT_EQ(of.facts.systemNameAndVersion(), "iOS 9.3");
}

TEST(DeviceFacts, GiveTheFirstLanguageOrEmptyText) {
  Facts of;
  of.phone.device.facts.languages = {"de", "en"};
  EXPECT_EQ(of.facts.preferredLanguage(), "de");
  of.phone.device.facts.languages = {};
  EXPECT_EQ(of.facts.preferredLanguage(), "");
}

TEST(DeviceFacts, GiveEmptyTextForAMissingBundleEntryButNullForItsVersion) {
  Facts of;
  of.phone.device.facts.bundle.clear();
  EXPECT_EQ(of.facts.bundleText("CFBundleVersion"), Value(""));
  EXPECT_TRUE(of.facts.bundleVersion().isNull());
}

TEST(DeviceFacts, CallDevicesGenuine) {
  Facts of;
  EXPECT_TRUE(of.facts.isOSGenuine());
}

TEST(DeviceFacts, HaveIdentifiersFromSystemVersion6On) {
  Facts of;
  for (const auto& [version, has] :
       {std::pair("5.1", false), std::pair("5.9", false), std::pair("6.0", true), std::pair("9.3", true)}) {
    of.phone.device.facts.systemVersion = version;
    EXPECT_EQ(of.facts.hasIdentifiers(), has) << version;
  }
}

TEST(DeviceFacts, ReportMissingIdentifiersAsEmptyText) {
  Facts of;
  of.phone.device.facts.idfv.reset();
  of.phone.device.facts.idfa.reset();
  EXPECT_EQ(of.facts.vendorIdentifier(), "");
  EXPECT_EQ(of.facts.reportedAdvertisingIdentifier(), "");
  EXPECT_TRUE(of.facts.advertisingIdentifier().isNull());
}

TEST(DeviceFacts, LimitTrackingWhenTheDeviceDoesNotAllowIt) {
  Facts of;
  of.phone.device.facts.adTrackingEnabled = true;
  EXPECT_FALSE(of.facts.limitsTracking());
  of.phone.device.facts.adTrackingEnabled = false;
  EXPECT_TRUE(of.facts.limitsTracking());
}

TEST(DeviceFacts, MeasureAMissingScreenAsZero) {
  Facts of;
  of.phone.device.facts.screen.reset();
  EXPECT_EQ(of.facts.screen().width, 0);
  EXPECT_EQ(of.facts.screen().height, 0);
  EXPECT_EQ(of.facts.screen().brightness, 0);
}

TEST(DeviceFacts, WriteBooleansAsDigits) {
  EXPECT_EQ(DeviceFacts::digitText(true), Value("1"));
  EXPECT_EQ(DeviceFacts::digitText(false), Value("0"));
}

TEST(DeviceFacts, FindTheAppUnchangedWhenBothVersionsAreAsReported) {
  Facts of;
  of.phone.storeReportedInstall();
  EXPECT_FALSE(of.facts.appVersionChanged());
}

TEST(DeviceFacts, FindTheAppChangedWhenItWasNeverReported) {
  Facts of;
  EXPECT_TRUE(of.facts.appVersionChanged());
}

TEST(DeviceFacts, FindTheAppChangedByEitherVersion) {
  for (const std::string_view entry : {"CFBundleShortVersionString", "CFBundleVersion"}) {
    Facts of;
    of.phone.storeReportedInstall();
    of.phone.device.facts.bundle[std::string(entry)] = "2";
    EXPECT_TRUE(of.facts.appVersionChanged()) << entry;
  }
}

TEST(DeviceFacts, TakeAMissingShortVersionForEmptyText) {
  Facts of;
  of.phone.storeReportedInstall();
  of.phone.store("watchProperties", Value{{"app_short_string", ""}, {"app_version", "100"}});
  of.phone.device.facts.bundle.erase("CFBundleShortVersionString");
  EXPECT_FALSE(of.facts.appVersionChanged());
}

TEST(DeviceFacts, FindTheAppChangedWhileItsVersionIsMissing) {
  Facts of;
  of.phone.store("watchProperties", Value{{"app_short_string", "1.0"}, {"app_version", ""}});
  of.phone.device.facts.bundle.erase("CFBundleVersion");
  EXPECT_TRUE(of.facts.appVersionChanged());
}

TEST(DeviceFacts, DisableWhatTheBlacklistNamesExactly) {
  Facts of;
  EXPECT_FALSE(of.facts.isDisabled("idfa"));
  of.facts.adoptBlacklist(Array({"screen_size", 1, "idfv "}));
  EXPECT_TRUE(of.facts.isDisabled("screen_size"));
  EXPECT_FALSE(of.facts.isDisabled("screen"));
  EXPECT_FALSE(of.facts.isDisabled("idfv"));
}

TEST(DeviceFacts, KeepEachIdentifierBackThatTheLatestBlacklistNames) {
  Facts of;
  struct Case {
    Array list;
    bool vendor;
    bool advertising;
  };
  for (const auto& [list, vendor, advertising] :
       {Case{Array({"idfv"}), false, true}, Case{Array({"idfa"}), true, false},
        Case{Array({"idfa", "idfv"}), false, false}, Case{Array(), true, true}}) {
    of.facts.adoptBlacklist(list);
    EXPECT_EQ(of.facts.mayReportVendorIdentifier(), vendor);
    EXPECT_EQ(of.facts.mayReportAdvertisingIdentifier(), advertising);
  }
}

TEST(DeviceFacts, KeepTheirBlacklistWhenWhatComesIsNoArray) {
  Facts of;
  of.facts.adoptBlacklist(Array({"idfa"}));
  for (const Value& other : {Value(), Value("idfv"), Value(Value{{"idfv", true}})}) of.facts.adoptBlacklist(other);
  EXPECT_TRUE(of.facts.isDisabled("idfa"));
  EXPECT_FALSE(of.facts.mayReportAdvertisingIdentifier());
  EXPECT_TRUE(of.facts.mayReportVendorIdentifier());
}

TEST(DeviceFacts, AStartKeepsTheIdentifiersBackThatWereForbiddenButDropsTheList) {
  Facts of;
  of.facts.adoptBlacklist(Array({"idfa"}));
  of.facts.reset();
  of.facts.storeDefaults();
  EXPECT_FALSE(of.facts.isDisabled("idfa"));
  EXPECT_FALSE(of.facts.mayReportAdvertisingIdentifier());
}

TEST(DeviceFacts, MayReportIdentifiersOnANewDevice) {
  Facts of;
  of.facts.storeDefaults();
  EXPECT_EQ(of.phone.stored("idfaBlacklisted"), Value(false));
  EXPECT_EQ(of.phone.stored("idfvBlacklisted"), Value(false));
}

}  // namespace
}  // namespace fliprugair
