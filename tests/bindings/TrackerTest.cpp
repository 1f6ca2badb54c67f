// The tracker as C has it. What it records is read from the log.

#include "bindings/CInterface.h"

namespace fliprugair {
namespace {

class TrackerInC : public CInterface {
 protected:
  void SetUp() override {
    open();
    ASSERT_EQ(fliprugair_enable_logging(tracker, 1, &error), FLIPRUGAIR_OK) << error.taken();
  }

  /// The record that the last call has made, when it succeeded.
  std::string record(fliprugair_status status) {
    EXPECT_EQ(status, FLIPRUGAIR_OK) << error.taken();
    return lineWith("appending: ");
  }
};

#define EXPECT_HAS(text, part) EXPECT_NE((text).find(part), std::string::npos) << (text)
#define EXPECT_HAS_NOT(text, part) EXPECT_EQ((text).find(part), std::string::npos) << (text)

TEST_F(TrackerInC, ReportsAnEventWithAValueAndWithout) {
  const std::string with = record(fliprugair_track_event(tracker, "level", "7", &error));
  EXPECT_HAS(with, R"("event_name":"level")");
  EXPECT_HAS(with, R"("event_data":"7")");
  EXPECT_HAS_NOT(with, "event_standard");
  const std::string without = record(fliprugair_track_event(tracker, "pause", nullptr, &error));
  EXPECT_HAS(without, R"("event_name":"pause")");
  EXPECT_HAS_NOT(without, "event_data");
}

TEST_F(TrackerInC, MarksAnEventAsStandardOrNot) {
  EXPECT_HAS(record(fliprugair_track_marked_event(tracker, "a", "1", 1, &error)), R"("event_standard":1)");
  EXPECT_HAS_NOT(record(fliprugair_track_marked_event(tracker, "b", nullptr, 0, &error)), "event_standard");
}

TEST_F(TrackerInC, ReportsAStandardEventByItsName) {
  const std::string event =
      record(fliprugair_track_standard_event(tracker, "Purchase", R"({"price": "4.99"})", &error));
  EXPECT_HAS(event, R"("event_name":"Purchase")");
  EXPECT_HAS(event, R"(4.99)");
  EXPECT_HAS(event, R"("event_standard":1)");
  EXPECT_HAS_NOT(record(fliprugair_track_standard_event(tracker, "Search", nullptr, &error)), "event_data");
  EXPECT_EQ(fliprugair_track_standard_event(tracker, "Purchase", "7", &error), FLIPRUGAIR_INVALID_ARGUMENT);
  EXPECT_EQ(error.taken(), "data is not a JSON object");
}

TEST_F(TrackerInC, ReportsAPurchaseAPlaceALinkAndAnIdentity) {
  EXPECT_HAS(record(fliprugair_track_purchase(tracker, "book", "4.99", "cmVjZWlwdA==", &error)), "cmVjZWlwdA==");
  EXPECT_HAS(record(fliprugair_track_spatial_event(tracker, "room", 1.5F, 0, 0, &error)), "1.500000");
  EXPECT_HAS(record(fliprugair_deep_link(tracker, "shop://book/7", "com.example.mail", &error)), "com.example.mail");
  EXPECT_HAS(record(fliprugair_identity_link(tracker, R"({"user": "4711"})", &error)), "4711");
}

TEST_F(TrackerInC, KeepsWhatAWatchReportsUntilTheHostHasAnswered) {
  EXPECT_EQ(fliprugair_handle_watch_events(tracker, "link", 0, &error), FLIPRUGAIR_OK) << error.taken();
  EXPECT_EQ(fliprugair_handle_watch_events(tracker, nullptr, 1, &error), FLIPRUGAIR_OK) << error.taken();
  EXPECT_EQ(fliprugair_track_watch_event(tracker, "lap", nullptr, &error), FLIPRUGAIR_OK) << error.taken();
  EXPECT_EQ(lineWith("appending: "), "");
}

TEST_F(TrackerInC, GivesTheCustomIdentifierBack) {
  const auto customId = [&] {
    char* text = fliprugair_custom_id(tracker, nullptr);
    const std::string result = text != nullptr ? text : "none";
    fliprugair_free(text);
    return result;
  };
  EXPECT_EQ(customId(), "none");
  ASSERT_EQ(fliprugair_set_custom_id(tracker, "customer 7", &error), FLIPRUGAIR_OK) << error.taken();
  EXPECT_EQ(customId(), "customer 7");
  ASSERT_EQ(fliprugair_set_custom_id(tracker, nullptr, &error), FLIPRUGAIR_OK) << error.taken();
  EXPECT_EQ(customId(), "none");
}

TEST_F(TrackerInC, NamesWhatIsMissing) {
  const auto refused = [&](fliprugair_status status) {
    EXPECT_EQ(status, FLIPRUGAIR_INVALID_ARGUMENT);
    return error.taken();
  };
  EXPECT_EQ(refused(fliprugair_track_event(nullptr, "a", "b", &error)), "tracker is a null pointer");
  EXPECT_EQ(refused(fliprugair_track_event(tracker, nullptr, "b", &error)), "title is a null pointer");
  EXPECT_EQ(refused(fliprugair_track_marked_event(tracker, nullptr, "b", 1, &error)), "title is a null pointer");
  EXPECT_EQ(refused(fliprugair_track_standard_event(tracker, nullptr, "{}", &error)), "name is a null pointer");
  EXPECT_EQ(refused(fliprugair_track_purchase(tracker, "a", nullptr, "c", &error)), "value is a null pointer");
  EXPECT_EQ(refused(fliprugair_track_watch_event(tracker, nullptr, "b", &error)), "title is a null pointer");
  EXPECT_EQ(refused(fliprugair_deep_link(tracker, nullptr, "a", &error)), "url is a null pointer");
  EXPECT_EQ(refused(fliprugair_identity_link(tracker, nullptr, &error)), "identities is a null pointer");
  EXPECT_EQ(refused(fliprugair_handle_watch_events(nullptr, nullptr, 0, &error)), "tracker is a null pointer");
  EXPECT_EQ(refused(fliprugair_set_custom_id(nullptr, "a", &error)), "tracker is a null pointer");
  for (const auto call : {&fliprugair_custom_id, &fliprugair_attribution}) {
    EXPECT_EQ(call(nullptr, &error), nullptr);
    EXPECT_EQ(error.taken(), "tracker is a null pointer");
    EXPECT_EQ(call(tracker, &error), nullptr);
    EXPECT_EQ(error.taken(), "") << "none is no error";
  }
}

}  // namespace
}  // namespace fliprugair
