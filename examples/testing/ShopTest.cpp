// How a host app tests what it tracks.
#include <Fliprugair/testing.h>
#include <gtest/gtest.h>

static void buy(fliprugair::MarluneTracker& tracker) { tracker.trackEvent("Purchase", "9.99"); }

TEST(Shop, TracksAPurchase) {
  fliprugair::TestDevice device;
  const auto tracker =
      fliprugair::MarluneTracker::initMarluneWithParams(device.environment(), {{"marluneAppId", "shop"}});
  buy(*tracker);
  ASSERT_EQ(device.events().with("Purchase").size(), 1u);
  EXPECT_EQ(device.events().with("Purchase").front().value, "9.99");
}
