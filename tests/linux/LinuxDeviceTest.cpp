#include <sys/utsname.h>

#include "linux/Support.h"
#include "platform/linux/LinuxDevice.h"

namespace fliprugair {
namespace {

/// A device on a root folder that a test fills.
struct DeviceOnARoot {
  LinuxDevice device(std::string bundleIdentifier = "com.example.app") {
    return LinuxDevice(facts, std::move(bundleIdentifier), SystemFiles(root.path()),
                       [](const char*) { return std::nullopt; });
  }
  DeviceOnARoot() { state({}); }
  void state(HostFacts stated) { facts.store(std::make_shared<HostFacts>(std::move(stated))); }

  TemporaryFolder root;
  FactsInForce facts;
};

utsname kernel() {
  utsname names{};
  uname(&names);
  return names;
}

constexpr const char* machineId = "0123456789abcdef0123456789abcdef\n";

TEST(LinuxDevice, NameAndVersionAreTheDistributions) {
  struct Case {
    std::string release;
    std::string name;
    std::string version;
  };
  const std::vector<Case> cases = {
      {"NAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\n", "Debian GNU/Linux", "12"},
      {"NAME=Fedora\nVERSION_ID=39", "Fedora", "39"},
      {"# NAME=no\nNAME='A \"quoted\" one'\n\nVERSION_ID=\"1.\\\"2\"\n", "A \"quoted\" one", "1.\"2"},
      {"PRETTY_NAME=\"Arch Linux\"\nNAME=\"Arch Linux\"\n", "Arch Linux", kernel().release},
      {"NAME=\"\"\nVERSION_ID=\n", "Linux", kernel().release},
  };
  for (const Case& each : cases) {
    DeviceOnARoot fixture;
    fixture.root.write("etc/os-release", each.release);
    EXPECT_EQ(fixture.device().systemName(), each.name);
    EXPECT_EQ(fixture.device().systemVersion(), each.version);
  }
}

TEST(LinuxDevice, WithoutADistributionsFileTheKernelAnswers) {
  DeviceOnARoot fixture;
  EXPECT_EQ(fixture.device().systemName(), "Linux");
  EXPECT_EQ(fixture.device().systemVersion(), kernel().release);
}

TEST(LinuxDevice, TheDistributionsFileMayStandBelowUsr) {
  DeviceOnARoot fixture;
  fixture.root.write("usr/lib/os-release", "NAME=Small\nVERSION_ID=7\n");
  EXPECT_EQ(fixture.device().systemName(), "Small");
  EXPECT_EQ(fixture.device().systemVersion(), "7");
}

TEST(LinuxDevice, HardwareIsTheProductUnlessTheFirmwareHasNone) {
  const std::string machine = kernel().machine;
  const std::map<std::string, std::string> products = {
      {"20XW00ABGE\n", "20XW00ABGE " + machine},
      {"To Be Filled By O.E.M.\n", machine},
      {"System Product Name\n", machine},
      {"\n", machine},
      {"", machine},
  };
  for (const auto& [product, description] : products) {
    DeviceOnARoot fixture;
    fixture.root.write("sys/class/dmi/id/product_name", product);
    EXPECT_EQ(fixture.device().hardwareDescription(), description);
  }
  EXPECT_EQ(DeviceOnARoot().device().hardwareDescription(), machine);
}

TEST(LinuxDevice, TheVendorIdentifierIsAStableUUIDOfMachineAndApplication) {
  DeviceOnARoot fixture;
  fixture.root.write("etc/machine-id", machineId);
  const std::optional<std::string> identifier = fixture.device().identifierForVendor();
  // echo -n com.example.app | openssl dgst -sha256 -mac HMAC -macopt hexkey:0123456789abcdef0123456789abcdef
  EXPECT_EQ(identifier, "B41439F7-AB76-403F-8C74-75B4EAA8FD76");
  EXPECT_NE(fixture.device("com.example.other").identifierForVendor(), identifier);
}

TEST(LinuxDevice, WithoutMachineOrApplicationThereIsNoVendorIdentifier) {
  EXPECT_EQ(DeviceOnARoot().device().identifierForVendor(), std::nullopt);
  for (const char* unusable : {"", "uninitialized\n", "0123456789abcdef\n", "00000000000000000000000000000000\n",
                               "0123456789abcdef0123456789abcdeg\n", "0123456789abcdef0123456789abcdef0\n"}) {
    DeviceOnARoot fixture;
    fixture.root.write("etc/machine-id", unusable);
    EXPECT_EQ(fixture.device().identifierForVendor(), std::nullopt) << unusable;
  }
  DeviceOnARoot fixture;
  fixture.root.write("etc/machine-id", machineId);
  EXPECT_EQ(fixture.device("").identifierForVendor(), std::nullopt);
}

TEST(LinuxDevice, TheMainScreenIsTheFirstConnectedOne) {
  DeviceOnARoot fixture;
  fixture.root.write("sys/class/drm/card0-DP-1/status", "disconnected\n");
  fixture.root.write("sys/class/drm/card0-DP-1/modes", "");
  fixture.root.write("sys/class/drm/card0-HDMI-A-1/status", "connected\n");
  fixture.root.write("sys/class/drm/card0-HDMI-A-1/modes", "1920x1080i\n1280x720\n");
  fixture.root.write("sys/class/drm/card0-eDP-1/status", "connected\n");
  fixture.root.write("sys/class/drm/card0-eDP-1/modes", "2560x1440\n");
  fixture.root.write("sys/class/drm/version", "drm 1.1.0\n");
  const std::optional<Screen> screen = fixture.device().mainScreen();
  ASSERT_TRUE(screen);
  EXPECT_EQ(screen->width, 1920);
  EXPECT_EQ(screen->height, 1080);
  EXPECT_EQ(screen->brightness, 0);
}

TEST(LinuxDevice, WithoutAConnectedScreenThereIsNone) {
  EXPECT_FALSE(DeviceOnARoot().device().mainScreen());
  for (const char* modes : {"", "garbage\n", "0x0\n", "x\n"}) {
    DeviceOnARoot fixture;
    fixture.root.write("sys/class/drm/card0-DP-1/status", "connected\n");
    fixture.root.write("sys/class/drm/card0-DP-1/modes", modes);
    EXPECT_FALSE(fixture.device().mainScreen()) << modes;
  }
}

TEST(LinuxDevice, BrightnessIsAShareOfTheBacklightsMost) {
  struct Case {
    std::string now;
    std::string most;
    double brightness;
  };
  for (const Case& each : {Case{"300\n", "1200\n", 0.25}, Case{"0\n", "100\n", 0}, Case{"100\n", "100\n", 1},
                           Case{"150\n", "100\n", 1}, Case{"1\n", "0\n", 0}, Case{"", "", 0}}) {
    DeviceOnARoot fixture;
    fixture.root.write("sys/class/drm/card0-eDP-1/status", "connected\n");
    fixture.root.write("sys/class/drm/card0-eDP-1/modes", "2560x1440\n");
    fixture.root.write("sys/class/backlight/intel_backlight/brightness", each.now);
    fixture.root.write("sys/class/backlight/intel_backlight/max_brightness", each.most);
    ASSERT_TRUE(fixture.device().mainScreen());
    EXPECT_DOUBLE_EQ(fixture.device().mainScreen()->brightness, each.brightness) << each.now << each.most;
  }
}

TEST(LinuxDevice, WhatTheHostAppStatesCountsBeforeTheSystem) {
  DeviceOnARoot fixture;
  fixture.root.write("etc/os-release", "NAME=Debian\nVERSION_ID=12\n");
  fixture.root.write("etc/machine-id", machineId);
  fixture.state({.systemName = "Own",
                 .systemVersion = "3.1",
                 .hardware = "Box1,2",
                 .foundationVersionNumber = 900,
                 .vendorIdentifier = "V",
                 .advertisingIdentifier = "A",
                 .advertisingTrackingEnabled = true,
                 .preferredLanguages = {{"nl-NL", "en"}},
                 .screen = {{640, 480, 0.5}}});
  const LinuxDevice device = fixture.device();
  EXPECT_EQ(device.systemName(), "Own");
  EXPECT_EQ(device.systemVersion(), "3.1");
  EXPECT_EQ(device.hardwareDescription(), "Box1,2");
  EXPECT_EQ(device.foundationVersionNumber(), 900);
  EXPECT_EQ(device.identifierForVendor(), "V");
  EXPECT_EQ(device.advertisingIdentifier(), "A");
  EXPECT_TRUE(device.advertisingTrackingEnabled());
  EXPECT_EQ(device.preferredLanguages(), (std::vector<std::string>{"nl-NL", "en"}));
  EXPECT_EQ(device.mainScreen()->brightness, 0.5);
  fixture.state({.vendorIdentifier = ""});
  EXPECT_EQ(device.identifierForVendor(), std::nullopt);
}

TEST(LinuxDevice, StatedIdentifiersAreUpperCaseAndNeverEmpty) {
  DeviceOnARoot fixture;
  const LinuxDevice device = fixture.device();
  fixture.state({.vendorIdentifier = "11111111-aaaa-4bbb-8ccc-dddddddddddd",
                 .advertisingIdentifier = "66666666-eeee-4fff-9aaa-bbbbbbbbbbbb"});
  EXPECT_EQ(device.identifierForVendor(), "11111111-AAAA-4BBB-8CCC-DDDDDDDDDDDD");
  EXPECT_EQ(device.advertisingIdentifier(), "66666666-EEEE-4FFF-9AAA-BBBBBBBBBBBB");
  fixture.state({.vendorIdentifier = "", .advertisingIdentifier = ""});
  EXPECT_EQ(device.identifierForVendor(), std::nullopt);
  EXPECT_EQ(device.advertisingIdentifier(), std::nullopt);
}

TEST(LinuxDevice, WhatLinuxHasNoSourceForIsAbsent) {
  DeviceOnARoot fixture;
  const LinuxDevice device = fixture.device();
  EXPECT_EQ(device.advertisingIdentifier(), std::nullopt);
  EXPECT_FALSE(device.advertisingTrackingEnabled());
  EXPECT_EQ(device.preferredLanguages(), std::vector<std::string>{"en"});
  EXPECT_DOUBLE_EQ(device.foundationVersionNumber(), 1280.25);
}

}  // namespace
}  // namespace fliprugair
