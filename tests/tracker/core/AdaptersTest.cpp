#include "tracker/Phone.h"

namespace fliprugair {
namespace {

TEST(Adapters, StartATrackerForADictionaryAlone) {
  const std::vector<AnyObject> objects{
      URL("https://host.example"), URL(), Value(), Value(true), Value(1), Value("demo"), Value(Array({"demo"}))};
  for (const AnyObject& object : objects) {
    Phone phone;
    const Snapshot before = snapshotOf(phone);
    EXPECT_EQ(MarluneTracker::swiftInitMarluneWithParams(phone.process, object), nullptr);
    phone.process.runQueues();
    expectSame(snapshotOf(phone), before);
  }
  Phone phone;
  EXPECT_NE(MarluneTracker::swiftInitMarluneWithParams(phone.process, Value{{"marluneAppId", "demo"}}), nullptr);
}

TEST(Adapters, DoNothingForAnotherKind) {
  InstalledPhone phone;
  const std::vector<AnyObject> objects{Value(), Value(true),      Value(1), Value(1.5), Value(Array({"a"})),
                                       URL(),   URL("app://link")};
  for (const AnyObject& object : objects) {
    phone.tracker->swiftTrackEvent(object, Value("value"));
    phone.tracker->swiftTrackEvent(Value("title"), object);
    phone.tracker->swiftIdentityLinkEvent(object);
    phone.tracker->swiftSpatialEvent(object, 1, 2, 3);
    phone.tracker->swiftSendDeepLink(URL("app://link"), object);
    if (object.url().absoluteString().isNull()) phone.tracker->swiftSendDeepLink(object, Value("source"));
  }
  phone.tracker->swiftTrackEvent(Value{{"a", 1}}, Value{{"a", 1}});
  phone.tracker->swiftSpatialEvent(Value{{"a", 1}}, 1, 2, 3);
  phone.tracker->swiftIdentityLinkEvent(Value("text"));
  phone.tracker->swiftSendDeepLink(Value("app://link"), Value("source"));
  phone.tracker->swiftSendDeepLink(URL(), Value("source"));
  phone.process.runQueues();
  EXPECT_TRUE(phone.batch().empty());
  EXPECT_TRUE(phone.events().empty());
}

TEST(Adapters, ForwardWhatIsOfTheRightKind) {
  InstalledPhone phone;
  phone.tracker->swiftTrackEvent(Value("title"), Value(""));
  phone.tracker->swiftIdentityLinkEvent(Value{{"a", 1}});
  phone.tracker->swiftSpatialEvent(Value(""), 1, 2, 3);
  phone.tracker->swiftSendDeepLink(URL("app://link"), Value(""));
  EXPECT_EQ(phone.batch().size(), 4U);
  phone.tracker->swiftEnableConsoleLogging(false);
  EXPECT_FALSE(ProcessState::of(phone.process)->_loggingEnabled);
  phone.tracker->swiftSetLimitAdTracking(true);
  EXPECT_EQ(phone.stored("app_limit_tracking"), Value(true));
}

TEST(Adapters, TakeTextAsTheOtherOperationsDo) {
  InstalledPhone phone;
  const Text title = "title";
  const Text none;
  phone.tracker->swiftTrackEvent(title, none);
  phone.tracker->swiftSpatialEvent(none, 1, 2, 3);
  EXPECT_TRUE(phone.batch().empty());
  phone.tracker->swiftTrackEvent(title, title);
  ASSERT_EQ(phone.batch().size(), 1U);
  EXPECT_EQ(phone.batch()[0].dictionary()["data"].dictionary()["event_name"], Value("title"));
}

TEST(Adapters, GiveTheAttributionResultAsCompactText) {
  InstalledPhone phone;
  EXPECT_EQ(phone.tracker->swiftRetrieveAttribution(), "");
  phone.store("attribution", Value{{"source", "ad"}, {"rank", 1}});
  EXPECT_EQ(phone.tracker->swiftRetrieveAttribution(), R"({"source":"ad","rank":1})");
}

}  // namespace
}  // namespace fliprugair
