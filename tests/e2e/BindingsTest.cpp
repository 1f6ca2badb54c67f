// An app that uses the interface for C, all of it that sends something.

#include "Fliprugair/fliprugair.h"
#include "e2e/HostApp.h"

namespace fliprugair::e2e {
namespace {

TEST(Bindings, SendEveryKindOfReportAsTheSchemasAskForIt) {
  CheckedHost host;
  const TemporaryFolder folder;
  const std::string options = R"({"bundleIdentifier": "com.example.c", "version": "1", "storePath": ")" +
                              (folder.path() / "store.sqlite").string() + R"("})";
  fliprugair_callbacks silent{};
  silent.log = [](void*, const char*) {};
  fliprugair_app* const app = fliprugair_open(options.c_str(), &silent, nullptr);
  ASSERT_NE(app, nullptr);
  const std::string parameters = R"({"marluneAppId": "demo", "trackerHostname": ")" + host.hostname() + R"("})";
  fliprugair_tracker* const tracker = fliprugair_start(app, parameters.c_str(), nullptr);
  ASSERT_NE(tracker, nullptr);
  fliprugair_did_finish_launching(app, nullptr);
  fliprugair_did_become_active(app, nullptr);
  EXPECT_EQ(fliprugair_track_event(tracker, "level", "7", nullptr), FLIPRUGAIR_OK);
  EXPECT_EQ(fliprugair_track_marked_event(tracker, "level", "8", 1, nullptr), FLIPRUGAIR_OK);
  EXPECT_EQ(fliprugair_track_standard_event(tracker, "Purchase", R"({"price": 3})", nullptr), FLIPRUGAIR_OK);
  EXPECT_EQ(fliprugair_track_purchase(tracker, "sword", "3", "AA==", nullptr), FLIPRUGAIR_OK);
  EXPECT_EQ(fliprugair_track_spatial_event(tracker, "at", 1.5, -2, 0, nullptr), FLIPRUGAIR_OK);
  EXPECT_EQ(fliprugair_identity_link(tracker, R"({"user": "4711"})", nullptr), FLIPRUGAIR_OK);
  EXPECT_EQ(fliprugair_deep_link(tracker, "app://link", "com.example.mail", nullptr), FLIPRUGAIR_OK);
  EXPECT_EQ(fliprugair_limit_ad_tracking(tracker, 1, nullptr), FLIPRUGAIR_OK);
  fliprugair_waiting waiting{};
  EXPECT_EQ(fliprugair_wait_until_sent(app, 30, &waiting, nullptr), FLIPRUGAIR_OK);
  fliprugair_close(app);
  EXPECT_EQ(host.waitFor("action:event", 4, std::chrono::seconds(0)).count, 4);
  for (const char* action : {"spatial", "identityLink", "deeplink", "initial"}) {
    EXPECT_EQ(host.waitFor("action:" + std::string(action), 1, std::chrono::seconds(0)).count, 1) << action;
  }
}

}  // namespace
}  // namespace fliprugair::e2e
