#include <limits>

#include "Fliprugair/events/EventRecords.h"
#include "tracker/Phone.h"

namespace fliprugair {
namespace {

Dictionary onlyRecord(const Phone& phone) {
  EXPECT_EQ(phone.batch().size(), 1U);
  return phone.batch().empty() ? Dictionary() : phone.batch()[0].dictionary();
}

Dictionary onlyData(const Phone& phone) { return onlyRecord(phone)["data"].dictionary(); }

TEST(EventRecords, HaveTimeNameValueCurrencyAndPosition) {
  InstalledPhone phone;
  phone.store("deviceLatitude", "1.5");
  phone.store("deviceLongitude", "2.5");
  phone.device.setNow(1700000030);
  phone.tracker->trackEvent("name", "value");
  EXPECT_EQ(onlyRecord(phone)["action"], Value("event"));
  EXPECT_EQ(onlyData(phone), Value({{"usertime", "1700000030"},
                                    {"uptime", "30"},
                                    {"event_name", "name"},
                                    {"event_data", "value"},
                                    {"currency", "usd"},
                                    {"geo_lat", "1.5"},
                                    {"geo_long", "2.5"},
                                    {"updelta", "30"}})
                                 .dictionary());
}

TEST(EventRecords, CarryAReceiptBetweenValueAndCurrency) {
  InstalledPhone phone;
  phone.tracker->trackEvent("name", "value", "receipt");
  std::vector<std::string> keys;
  const auto entries = onlyData(phone).entries();
  for (const Dictionary::Entry& entry : entries) keys.push_back(entry.key());
  EXPECT_EQ(keys, std::vector<std::string>({"usertime", "uptime", "event_name", "event_data", "receipt", "currency"}));
}

TEST(EventRecords, AreMarkedAsStandardOnlyWhenTheyAre) {
  for (const bool standard : {false, true}) {
    InstalledPhone phone;
    phone.tracker->trackEventWithEventTitleString("name", "value", standard);
    EXPECT_EQ(onlyData(phone)["event_standard"], standard ? Value(1) : Value());
  }
}

class Standard final : public EventStandardParameters {
 public:
  Text serverEventNameString() const override { return "name"; }
  Value serverEventDataDictionary() const override { return Value{{"level", 3}}; }
};

TEST(EventRecords, CarryTheDataOfAStructuredEventAsCompactText) {
  InstalledPhone phone;
  const Standard event;
  phone.tracker->trackEventWithEventStandardParameters(&event);
  EXPECT_EQ(onlyData(phone)["event_data"], Value(R"({"level":3})"));
  EXPECT_EQ(onlyData(phone)["event_standard"], Value(1));
}

TEST(EventRecords, KeepTheRestOfAStructuredEventWhoseDataHoldsNoNumberOfJSON) {
  struct Unmeasured final : EventStandardParameters {
    Text serverEventNameString() const override { return "name"; }
    Value serverEventDataDictionary() const override {
      return Value{{"ratio", std::numeric_limits<double>::infinity()}, {"level", 3}};
    }
  };
  InstalledPhone phone;
  const Unmeasured event;
  phone.tracker->trackEventWithEventStandardParameters(&event);
  EXPECT_EQ(onlyData(phone)["event_data"], Value(R"({"ratio":null,"level":3})"));
  EXPECT_TRUE(onlyData(phone).holds("currency"));
}

TEST(EventRecords, WriteCoordinatesWithSixDigits) {
  InstalledPhone phone;
  phone.tracker->spatialEvent("place", 1.5F, -2, 0.0000001F);
  EXPECT_EQ(onlyRecord(phone)["action"], Value("spatial"));
  EXPECT_EQ(onlyData(phone), Value({{"event_name", "place"},
                                    {"x", "1.500000"},
                                    {"y", "-2.000000"},
                                    {"z", "0.000000"},
                                    {"usertime", "1700000000"}})
                                 .dictionary());
}

TEST(EventRecords, HandAnIdentityLinkOnWhole) {
  InstalledPhone phone;
  const Value link{{"user", Array({1, Value()})}};
  phone.tracker->identityLinkEvent(link);
  EXPECT_EQ(onlyRecord(phone)["action"], Value("identityLink"));
  EXPECT_EQ(onlyRecord(phone)["data"], link);
}

TEST(EventRecords, RefuseAnIdentityLinkThatNestsTooDeepAndGoOn) {
  InstalledPhone phone;
  phone.tracker->enableConsoleLogging(true);
  Value link{{"level", 1}};
  while (link.depth() < 500) link = Value{{"inner", link}};
  phone.tracker->identityLinkEvent(link);
  phone.tracker->identityLinkEvent(Value{{"inner", link}});
  for (int level = 0; level < 5000; ++level) link = Value{{"inner", link}};
  phone.tracker->identityLinkEvent(link);
  EXPECT_EQ(phone.logged("-[MarluneTracker identityLinkEvent:] [Line 2291] "
                         "Marlune library - nested deeper than 500 levels (not used)"),
            2);
  phone.tracker->trackEvent("level", "7");
  ASSERT_EQ(phone.batch().size(), 2U);
  EXPECT_EQ(phone.batch()[0].dictionary()["action"], Value("identityLink"));
  EXPECT_EQ(phone.batch()[1].dictionary()["action"], Value("event"));
}

TEST(EventRecords, NameTheLinkAndItsSource) {
  InstalledPhone phone;
  phone.tracker->sendDeepLink(URL("app://link"), "other");
  EXPECT_EQ(onlyRecord(phone)["action"], Value("deeplink"));
  EXPECT_EQ(onlyData(phone)["uri"], Value("app://link"));
  EXPECT_EQ(onlyData(phone)["source_app"], Value("other"));
}

TEST(EventRecords, DropAForbiddenTitleSilently) {
  InstalledPhone phone;
  phone.parts().events.adoptBlacklist(Array({"no", 7}));
  phone.tracker->enableConsoleLogging(true);
  phone.tracker->trackEvent("no", "value");
  phone.tracker->trackEvent("no", "value", "receipt");
  EXPECT_TRUE(phone.events().empty());
  EXPECT_TRUE(phone.batch().empty());
}

TEST(EventRecords, MatchAForbiddenTitleExactly) {
  InstalledPhone phone;
  phone.parts().events.adoptBlacklist(Array({"no", 7, Value(), Array({"inner"})}));
  for (const std::string_view title : {"No", "no ", "n", "7", "", "inner"}) phone.tracker->trackEvent(title, "value");
  EXPECT_EQ(phone.batch().size(), 6U);
}

TEST(EventRecords, ForbidEmptyTitlesToo) {
  InstalledPhone phone;
  phone.parts().events.adoptBlacklist(Array({""}));
  phone.tracker->trackEvent("", "value");
  EXPECT_TRUE(phone.batch().empty());
}

TEST(EventRecords, TestNoPlacesAgainstTheBlacklist) {
  InstalledPhone phone;
  phone.parts().events.adoptBlacklist(Array({"no"}));
  phone.tracker->spatialEvent("no", 1, 2, 3);
  EXPECT_EQ(phone.batch().size(), 1U);
}

TEST(EventRecords, TakeEachBlacklistForTheOneBefore) {
  InstalledPhone phone;
  phone.parts().events.adoptBlacklist(Array({"a"}));
  phone.parts().events.adoptBlacklist(Array({"b"}));
  phone.tracker->trackEvent("a", "value");
  phone.tracker->trackEvent("b", "value");
  EXPECT_EQ(phone.batch().size(), 1U);
  EXPECT_EQ(phone.stored("blacklistedEventNames"), Value(Array({"b"})));
}

TEST(EventRecords, KeepTheBlacklistWhenWhatComesIsNoArray) {
  InstalledPhone phone;
  phone.parts().events.adoptBlacklist(Array({"a"}));
  for (const Value& other : {Value(), Value("b"), Value(Dictionary())}) phone.parts().events.adoptBlacklist(other);
  phone.tracker->trackEvent("a", "value");
  EXPECT_TRUE(phone.batch().empty());
  EXPECT_EQ(phone.stored("blacklistedEventNames"), Value(Array({"a"})));
}

TEST(EventRecords, KeepTheBlacklistThroughAStartThatAsksForNoSettings) {
  InstalledPhone phone;
  phone.parts().events.adoptBlacklist(Array({"a"}));
  phone.tracker = phone.construct();
  phone.tracker->trackEvent("a", "value");
  EXPECT_TRUE(phone.batch().empty());
}

TEST(EventRecords, ForbidNothingFromAStartThatAsksForSettingsUntilTheReply) {
  InstalledPhone phone;
  phone.parts().events.adoptBlacklist(Array({"a"}));
  phone.device.setNow(1700000061);
  phone.tracker = phone.construct();
  phone.tracker->trackEvent("a", "value");
  EXPECT_EQ(phone.batch().size(), 1U);
}

TEST(EventRecords, TakeAStoredBlacklistThatIsNoArrayForNone) {
  InstalledPhone phone;
  phone.store("blacklistedEventNames", "a");
  phone.tracker = phone.construct();
  phone.tracker->trackEvent("a", "value");
  EXPECT_EQ(phone.batch().size(), 1U);
}

TEST(EventRecords, EmptyAStoredPositionAtAStartAndLeaveAMissingOne) {
  InstalledPhone phone;
  phone.store("deviceLatitude", "1.5");
  phone.tracker = phone.construct();
  EXPECT_EQ(phone.stored("deviceLatitude"), Value(""));
  EXPECT_TRUE(phone.stored("deviceLongitude").isNull());
}

}  // namespace
}  // namespace fliprugair
