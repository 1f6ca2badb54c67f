// How a host app tests what it sends over HTTP, with a control host in the process of the test.
#include <Fliprugair/ControlHost.h>
#include <Fliprugair/platform/linux/LinuxEnvironment.h>
#include <gtest/gtest.h>

#include <Fliprugair/Fliprugair>
#include <filesystem>

TEST(Shop, SendsAPurchaseInWhichNothingIsWrong) {
  fliprugair::ControlHost host;
  fliprugair::LinuxOptions options;
  options.bundleIdentifier = "com.example.shop";
  options.version = "1";
  const auto folder = std::filesystem::path(testing::TempDir()) / "shop-host-test";
  std::filesystem::remove_all(folder);
  options.storePath = folder / "store.sqlite";
  const auto opened = fliprugair::LinuxEnvironment::open(options);
  ASSERT_TRUE(opened.environment) << opened.error;
  const auto tracker = fliprugair::MarluneTracker::initMarluneWithParams(
      *opened.environment, {{"marluneAppId", "shop"}, {"trackerHostname", host.hostname()}});
  opened.environment->applicationDidFinishLaunching();
  opened.environment->applicationDidBecomeActive();
  tracker->trackEvent("Purchase", "9.99");
  opened.environment->waitUntilSent(std::chrono::seconds(10));
  const auto waited = host.waitFor("event:Purchase /data/event_data:9.99");
  EXPECT_TRUE(waited.matched) << waited.text;
  for (const auto& finding : host.findings()) ADD_FAILURE() << finding.text;
  opened.environment->terminate();
}
