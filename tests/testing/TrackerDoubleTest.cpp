// The double of the tracker: it keeps what it is called with, and has what the tracker has.

#include <regex>

#include "Fliprugair/testing.h"
#include "testing/CheckedRequests.h"

namespace fliprugair {
namespace {

template <class Tracker>
void visitShop(Tracker& tracker) {
  tracker.trackEvent("Search", "shoes");
  tracker.trackEvent("Purchase", "9.99", "cmVjZWlwdA==");
  tracker.identityLinkEvent(Value{{"user", "4711"}});
  tracker.sendDeepLink(URL("shop://sale"), "com.example.mail");
  tracker.spatialEvent("Landing", 1, 2, 3);
}

TEST(TrackerDouble, TakesTheTrackersPlaceInATemplate) {
  TestDevice device;
  const CheckedRequests checked(device);
  const auto tracker = MarluneTracker::initMarluneWithParams(device.environment(), {{"marluneAppId", "demo"}});
  TrackerDouble twin;
  visitShop(*tracker);
  visitShop(twin);
  EXPECT_EQ(testing::PrintToString(twin.events()), testing::PrintToString(device.events()));
  EXPECT_EQ(twin.events().with("Purchase").front().receipt, "cmVjZWlwdA==");
  EXPECT_EQ(twin.identityLinks(), device.identityLinks());
  ASSERT_EQ(twin.deepLinks().size(), 1u);
  EXPECT_EQ(twin.deepLinks().front().url, device.deepLinks().front().url);
  EXPECT_EQ(twin.calls(), (std::vector<std::string>{"trackEvent", "trackEvent", "identityLinkEvent", "sendDeepLink",
                                                    "spatialEvent"}));
}

TEST(TrackerDouble, RecordsNothingThatTheTrackerRefuses) {
  TrackerDouble tracker;
  tracker.trackEvent(nullptr, "7");
  tracker.identityLinkEvent("4711");
  tracker.trackEventWithEventStandardParameters(nullptr);
  EXPECT_TRUE(tracker.events().empty());
  EXPECT_TRUE(tracker.identityLinks().empty());
  EXPECT_EQ(tracker.calls().size(), 3u);
}

TEST(TrackerDouble, ReadsStandardParametersAsTheTrackerDoes) {
  struct Registration : EventStandardParameters {
    Text serverEventNameString() const override { return "Registration"; }
    Value serverEventDataDictionary() const override { return {{"plan", "yearly"}}; }
  };
  struct Broken : Registration {
    Value serverEventDataDictionary() const override { throw std::runtime_error("no data"); }
  };
  TestDevice device;
  const CheckedRequests checked(device);
  const auto tracker = MarluneTracker::initMarluneWithParams(device.environment(), {{"marluneAppId", "demo"}});
  TrackerDouble twin;
  for (const EventStandardParameters* parameters :
       std::initializer_list<const EventStandardParameters*>{new Registration, new Broken}) {
    const std::unique_ptr<const EventStandardParameters> owned(parameters);
    tracker->trackEventWithEventStandardParameters(parameters);
    twin.trackEventWithEventStandardParameters(parameters);
  }
  ASSERT_EQ(twin.events().size(), 1u);
  EXPECT_EQ(testing::PrintToString(twin.events()), testing::PrintToString(device.events()));
}

TEST(TrackerDouble, KeepsPropertiesAndWhatWasSet) {
  TrackerDouble tracker;
  EXPECT_EQ(tracker.limitAdTracking(), std::nullopt);
  tracker.setLimitAdTracking(true);
  tracker.setCustomIdString("a");
  tracker.handleWatchEvents("https://watch.example");
  tracker.handleWatchEvents();
  tracker.trackWatchEvent("level", "7");
  EXPECT_EQ(tracker.limitAdTracking(), true);
  EXPECT_EQ(tracker.customIdString(), Value("a"));
  EXPECT_EQ(tracker.watchLinks(), (std::vector<std::string>{"https://watch.example", ""}));
  EXPECT_EQ(tracker.events().with("level").size(), 1u);
}

TEST(TrackerDouble, HandsAnAttributionToItsDelegate) {
  struct Delegate : MarluneTrackerClientDelegate {
    void Marlune_attributionResult(const Value& attribution) override { result = attribution; }
    Value result;
  };
  TrackerDouble tracker;
  const auto delegate = std::make_shared<Delegate>();
  tracker.setTrackerDelegate(delegate);
  EXPECT_TRUE(tracker.retrieveAttribution().isNull());
  tracker.setAttribution(Value{{"network", "Example Ads"}});
  EXPECT_EQ(delegate->result.dictionary()["network"], Value("Example Ads"));
  EXPECT_EQ(tracker.retrieveAttribution(), delegate->result);
}

/// The operations that a class declares in a header: their names and arguments.
std::set<std::string> operationsIn(const std::string& header) {
  std::ifstream file(std::string(FLIPRUGAIR_SOURCES) + "/include/Fliprugair/" + header);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  const std::string declared = std::regex_replace(text, std::regex(R"(///?[^\n]*|\n|\s+)"), " ");
  const std::regex operation(R"((\w+\([^()]*\)(?: const)?);)");
  std::set<std::string> found;
  for (std::sregex_iterator each(declared.begin(), declared.end(), operation), end; each != end; ++each) {
    found.insert(std::regex_replace((*each)[1].str(), std::regex(" +"), " "));
  }
  return found;
}

TEST(TrackerDouble, HasEveryOperationOfTheTracker) {
  const auto ofDouble = operationsIn("testing/TrackerDouble.h");
  int compared = 0;
  for (const std::string& operation : operationsIn("MarluneTracker.h")) {
    if (std::regex_search(operation, std::regex("^(swift|init|MarluneTracker)"))) continue;
    ++compared;
    EXPECT_TRUE(ofDouble.count(operation) == 1) << operation;
  }
  EXPECT_GE(compared, 20);
}

}  // namespace
}  // namespace fliprugair
