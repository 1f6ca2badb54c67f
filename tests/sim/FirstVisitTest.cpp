// What "installed" stores, and that it stands for a first visit.

#include "InstalledDevice.h"
#include "support/WatchedProperties.h"

namespace fliprugair::sim {
namespace {

constexpr std::string_view installed = R"({"do":"installed"})";
constexpr std::string_view everything = R"({"do":"store","get":"all"})";

TEST(Installed, StoresWhatAFinishedFirstVisitLeavesBehind) {
  Script script;
  EXPECT_TRUE(script.run(installed).empty());
  const Dictionary expected({
      {"com.marlune.MarluneTracker.deviceId", "MI0123456789ABCDEF0123456789ABCDEF"},
      {"com.marlune.MarluneTracker.origDeviceId", "MI0123456789ABCDEF0123456789ABCDEF"},
      {"com.marlune.MarluneTracker.userAgent", "VirtualDevice/1.0"},
      {"com.marlune.MarluneTracker.sendInitial", false},
      {"com.marlune.MarluneTracker.firstInitReceived", true},
      {"com.marlune.MarluneTracker.lastMLInitSent", 1700000000},
      {"com.marlune.MarluneTracker.watchProperties", watchedProperties()},
  });
  EXPECT_EQ(script.run(everything).at(0)["values"], Value(expected));
}

TEST(Installed, KeepsWhatElseIsStoredAndTakesTheTimeThatItIs) {
  Script script;
  script.store("mlinitWait", 600);
  script.run(R"({"do":"clock","now":1800000000.75})");
  script.run(installed);
  EXPECT_EQ(script.stored("mlinitWait"), Value(600));
  EXPECT_EQ(script.stored("lastMLInitSent"), Value(1800000000));
}

TEST(Installed, LeavesTheNextTrackerNothingToSend) {
  Script script;
  script.run(installed);
  EXPECT_EQ(inShort(script.construct()), (Lines{"constructed true"}));
  EXPECT_TRUE(script.advance(3600).empty());
}

TEST(Installed, LeavesNothingToSendAtTimesThatNoClockShouldShow) {
  for (const std::string now : {"-100.5", "1e19", "1e300"}) {
    Script script;
    script.run(R"({"do":"clock","now":)" + now + "}");
    script.run(installed);
    EXPECT_EQ(inShort(script.construct()), (Lines{"constructed true"})) << now;
  }
}

/// Odd devices: what is stored about them is what their tracker finds, so that the next settings lead to no report.
TEST(Installed, TakesTheDeviceAsItIs) {
  for (const std::string fields :
       {R"("system_version":"7.0.6","languages":["de","en"])", R"("languages":[])", R"("ad_tracking_enabled":false)",
        R"("ad_tracking_enabled":false,"system_version":"5.1")", R"("bundle":{"CFBundleVersion":"7"})",
        R"("bundle":{"CFBundleShortVersionString":"2.5","CFBundleVersion":"250"},"system_name":"tvOS")"}) {
    SCOPED_TRACE(fields);
    Script script;
    script.run(R"({"do":"device",)" + fields + "}");
    script.run(installed);
    EXPECT_EQ(inShort(script.construct()), (Lines{"constructed true"}));
    EXPECT_TRUE(script.call("checkWatchPropertiesChanged").size() == 1) << "an update was sent";
    script.run(R"({"do":"notify","name":"did-become-active"})");
    EXPECT_TRUE(named(script.advance(0), "send").empty());
    EXPECT_TRUE(script.stored("networkQueue").isNull());
  }
}

TEST(Installed, IsWhatARealFirstVisitStores) {
  Script visit;
  visit.run(R"({"do":"device","system_version":"7.0.6"})");
  visit.construct();
  visit.reply(1, quietReply());
  visit.reply(2, {{"success", 1}});
  Script script;
  script.run(R"({"do":"device","system_version":"7.0.6"})");
  script.run(installed);
  for (const std::string_view name :
       {"userAgent", "sendInitial", "firstInitReceived", "lastMLInitSent", "watchProperties"}) {
    EXPECT_EQ(script.stored(name), visit.stored(name)) << name;
  }
}

}  // namespace
}  // namespace fliprugair::sim
