// Every public call with null, null pointers and empty values.

#include <cmath>
#include <limits>
#include <stdexcept>

#include "tracker/ObservedEnvironment.h"
#include "tracker/Phone.h"

namespace fliprugair {
namespace {

constexpr const char* nullText = nullptr;

/// A phone whose tracker has had its init reply; logging is on.
class MissingArguments : public testing::Test {
 protected:
  MissingArguments() {
    tracker = phone.construct({{"marluneAppId", "demo"}, {"enableLogging", true}});
    phone.reply(1, {{"success", 1}, {"flags", Value{{"resend_initial", false}}}});
    phone.forgetEvents();
  }

  /// The batch queue's only record, without the envelope.
  Dictionary onlyData() {
    EXPECT_EQ(phone.batch().size(), 1U);
    return phone.batch().empty() ? Dictionary() : phone.batch()[0].dictionary()["data"].dictionary();
  }

  void expectOnlyLine(std::string_view ending) {
    EXPECT_TRUE(phone.batch().empty());
    const auto lines = phone.events("log");
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_TRUE(lines[0]["text"].text().ends_with(ending)) << lines[0]["text"].text();
  }

  void expectNothing() {
    phone.process.runQueues();
    EXPECT_TRUE(phone.batch().empty());
    EXPECT_TRUE(phone.events().empty());
  }

  Phone phone;
  std::shared_ptr<MarluneTracker> tracker;
};

TEST_F(MissingArguments, ConstructorsWithoutAnIdentifierFail) {
  for (const Text& appId : {Text(), Text(nullptr), Text(nullText), Text("")}) {
    Phone fresh;
    EXPECT_EQ(MarluneTracker::initWithMarluneAppId(fresh.process, appId), nullptr);
    EXPECT_EQ(MarluneTracker::initWithMarluneAppId(fresh.process, appId, "eur"), nullptr);
    EXPECT_EQ(MarluneTracker::initWithMarluneAppId(fresh.process, appId, "eur", true), nullptr);
    EXPECT_EQ(MarluneTracker::initWithMarluneAppId(fresh.process, appId, "eur", true, true), nullptr);
    EXPECT_EQ(MarluneTracker::initWithMarluneAppId(fresh.process, appId, "eur", true, true, true), nullptr);
    EXPECT_TRUE(fresh.stored("appId").isNull());
  }
  Phone fresh;
  EXPECT_EQ(MarluneTracker::initMarluneWithParams(fresh.process, nullptr), nullptr);
  EXPECT_EQ(MarluneTracker::swiftInitMarluneWithParams(fresh.process, Value()), nullptr);
  EXPECT_EQ(MarluneTracker::swiftInitMarluneWithParams(fresh.process, URL()), nullptr);
}

TEST_F(MissingArguments, AMissingIdentifierDropsAllThatFollowsIt) {
  Phone fresh;
  EXPECT_EQ(MarluneTracker::initWithMarluneAppId(fresh.process, nullptr, "eur", true, true, true), nullptr);
  EXPECT_TRUE(fresh.events("log").empty());
  EXPECT_FALSE(ProcessState::of(fresh.process)->_isNewUser);
}

TEST_F(MissingArguments, AMissingCurrencyDropsWhatFollowsIt) {
  Phone fresh;
  const auto made = MarluneTracker::initWithMarluneAppId(fresh.process, "demo", nullText, true, true, true);
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(fresh.stored("currency"), Value("usd"));
  EXPECT_EQ(fresh.stored("app_limit_tracking"), Value(false));
  EXPECT_FALSE(ProcessState::of(fresh.process)->_loggingEnabled);
  EXPECT_FALSE(ProcessState::of(fresh.process)->_isNewUser);
}

TEST_F(MissingArguments, AnEmptyCurrencyDropsNothing) {
  Phone fresh;
  const auto made = MarluneTracker::initWithMarluneAppId(fresh.process, "demo", "", true, true, true);
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(fresh.stored("currency"), Value("usd"));
  EXPECT_EQ(fresh.stored("app_limit_tracking"), Value(true));
  EXPECT_TRUE(ProcessState::of(fresh.process)->_loggingEnabled);
  EXPECT_TRUE(ProcessState::of(fresh.process)->_isNewUser);
}

TEST_F(MissingArguments, AnEventWithoutTitleIsRefusedWithALine) {
  tracker->trackEvent(nullptr, "value");
  expectOnlyLine("Marlune library - nil sent as eventTitle (cannot send)");
  phone.forgetEvents();
  tracker->trackEvent(nullText, nullText, nullText);
  expectOnlyLine("Marlune library - nil sent as eventTitle (cannot send)");
  phone.forgetEvents();
  tracker->trackEventWithEventTitleString(nullptr, nullptr, true);
  expectOnlyLine("Marlune library - nil sent as eventTitle (cannot send)");
}

TEST_F(MissingArguments, AnEventWithoutValueEndsBehindItsName) {
  tracker->trackEvent("title", nullptr);
  EXPECT_EQ(onlyData(), Value({{"usertime", "1700000000"}, {"uptime", "0"}, {"event_name", "title"}}).dictionary());
}

TEST_F(MissingArguments, AStandardEventWithoutValueIsStillMarked) {
  tracker->trackEventWithEventTitleString("title", nullText, true);
  EXPECT_EQ(onlyData(),
            Value({{"usertime", "1700000000"}, {"uptime", "0"}, {"event_name", "title"}, {"event_standard", 1}})
                .dictionary());
}

TEST_F(MissingArguments, APurchaseWithoutReceiptEndsBehindItsValue) {
  tracker->trackEvent("title", "value", nullptr);
  EXPECT_EQ(onlyData(),
            Value({{"usertime", "1700000000"}, {"uptime", "0"}, {"event_name", "title"}, {"event_data", "value"}})
                .dictionary());
}

TEST_F(MissingArguments, EmptyTextIsPresent) {
  tracker->trackEvent("", "", "");
  EXPECT_EQ(onlyData(), Value({{"usertime", "1700000000"},
                               {"uptime", "0"},
                               {"event_name", ""},
                               {"event_data", ""},
                               {"receipt", ""},
                               {"currency", "usd"}})
                            .dictionary());
}

class Standard final : public EventStandardParameters {
 public:
  Standard(Text name, Value data) : name_(std::move(name)), data_(std::move(data)) {}
  Text serverEventNameString() const override { return name_; }
  Value serverEventDataDictionary() const override { return data_; }

 private:
  Text name_;
  Value data_;
};

TEST_F(MissingArguments, MissingStandardParametersAreSaidEvenWithoutLogging) {
  tracker->enableConsoleLogging(false);
  tracker->trackEventWithEventStandardParameters(nullptr);
  expectOnlyLine("EXCEPTION - EventNetworkTransaction - Parameter eventStandardParameters not provided.");
}

TEST_F(MissingArguments, StandardParametersWithoutNameAreRefused) {
  const Standard nameless(nullptr, Value{{"a", 1}});
  tracker->trackEventWithEventStandardParameters(&nameless);
  expectOnlyLine("Marlune library - nil sent as eventTitle (cannot send)");
}

TEST_F(MissingArguments, StandardParametersWithoutDataEndBehindTheName) {
  const Standard bare("title", nullptr);
  tracker->trackEventWithEventStandardParameters(&bare);
  EXPECT_EQ(onlyData(),
            Value({{"usertime", "1700000000"}, {"uptime", "0"}, {"event_name", "title"}, {"event_standard", 1}})
                .dictionary());
}

/// Throws what it is told to.
template <class Exception>
class Throwing final : public EventStandardParameters {
 public:
  explicit Throwing(Exception exception) : exception_(std::move(exception)) {}
  Text serverEventNameString() const override { throw exception_; }
  Value serverEventDataDictionary() const override { throw exception_; }

 private:
  Exception exception_;
};

TEST_F(MissingArguments, StandardParametersThatThrowAreSaidEvenWithoutLogging) {
  tracker->enableConsoleLogging(false);
  const Throwing throwing(std::runtime_error("the reason"));
  EXPECT_NO_THROW(tracker->trackEventWithEventStandardParameters(&throwing));
  expectOnlyLine("EXCEPTION (CAUGHT) 7d716099-1ff1-4cf5-baa4-5ea7490736be - the reason");
}

TEST_F(MissingArguments, NothingOfAnyTypeThatIsThrownGetsOut) {
  const Throwing number(42);
  EXPECT_NO_THROW(tracker->trackEventWithEventStandardParameters(&number));
  const Throwing text("text");
  EXPECT_NO_THROW(tracker->trackEventWithEventStandardParameters(&text));
  EXPECT_TRUE(phone.batch().empty());
}

TEST_F(MissingArguments, AnIdentityLinkThatIsNoDictionaryIsRefused) {
  for (const Value& link : {Value(), Value("text"), Value(1), Value(Array({"a"}))}) {
    phone.forgetEvents();
    tracker->identityLinkEvent(link);
    expectOnlyLine("Marlune library - nil identityLinkData sent");
  }
}

TEST_F(MissingArguments, AnEmptyIdentityLinkIsPresent) {
  tracker->identityLinkEvent(Dictionary());
  EXPECT_TRUE(onlyData().empty());
}

TEST_F(MissingArguments, ASpatialEventWithoutTitleIsRefused) {
  tracker->spatialEvent(nullptr, 1, 2, 3);
  expectOnlyLine("Marlune library - spatialEvent eventTitle is nil");
}

TEST_F(MissingArguments, ASpatialEventTakesAnyCoordinates) {
  constexpr float infinite = std::numeric_limits<float>::infinity();
  tracker->spatialEvent("", infinite, -infinite, std::numeric_limits<float>::max());
  const Dictionary data = onlyData();
  EXPECT_EQ(data["event_name"], Value(""));
  EXPECT_EQ(data["x"], Value("inf"));
  EXPECT_EQ(data["y"], Value("-inf"));
  EXPECT_EQ(data["z"], Value("340282346638528859811704183484516925440.000000"));
  tracker->spatialEvent("nan", std::nanf(""), 0, 0);
  EXPECT_EQ(phone.batch().size(), 2U);
}

TEST_F(MissingArguments, ADeepLinkWithoutAnythingIsEmpty) {
  tracker->sendDeepLink(nullptr, nullptr);
  EXPECT_EQ(onlyData(),
            Value({{"uri", ""}, {"source_app", ""}, {"usertime", "1700000000"}, {"uptime", "0"}}).dictionary());
  tracker->sendDeepLink(URL(nullText), nullText);
  EXPECT_EQ(phone.batch()[1], phone.batch()[0]);
}

TEST_F(MissingArguments, AWatchWithoutLinkIsTheWatchWithTheEmptyOne) {
  tracker->handleWatchEvents(nullptr);
  EXPECT_EQ(phone.stored("pairedAppleWatches"), Value(Array({""})));
  EXPECT_EQ(phone.batch().size(), 2U);
  tracker->handleWatchEvents();
  tracker->handleWatchEvents(nullText, true);
  tracker->handleWatchEvents("", false);
  EXPECT_EQ(phone.batch().size(), 2U);
}

TEST_F(MissingArguments, AWatchEventWithoutTitleReportsThePairingAlone) {
  tracker->trackWatchEvent(nullptr, nullptr);
  EXPECT_EQ(phone.batch().size(), 2U);
  EXPECT_EQ(phone.batch()[0].dictionary()["data"].dictionary()["event_name"], Value("Watch Install"));
}

TEST_F(MissingArguments, WatchEventsWithoutArgumentsCanBePutOff) {
  Phone fresh;
  const auto waiting = fresh.construct();
  waiting->trackWatchEvent(nullText, nullText);
  waiting->trackWatchEvent("title", nullptr);
  waiting->handleWatchEvents(nullptr);
  EXPECT_EQ(fresh.stored("trackWatchEventDeferred"), Value(Array({Dictionary(), Value{{"eventTitle", "title"}}})));
  fresh.reply(1, {{"success", 1}});
  internalsOf(*waiting).MarluneInitialResult(nullptr);
  EXPECT_TRUE(fresh.stored("trackWatchEventDeferred").isNull());
  EXPECT_TRUE(fresh.stored("handleWatchEventsDeferred").isNull());
  EXPECT_EQ(fresh.batch().size(), 3U);  // the pairing's two, and the one that has a title
}

TEST_F(MissingArguments, PropertiesCanBeCleared) {
  tracker->setCustomIdString("custom");
  tracker->setCustomIdString(nullText);
  EXPECT_TRUE(tracker->customIdString().isNull());
  tracker->setCustomIdString("");
  EXPECT_EQ(tracker->customIdString(), Value(""));
  tracker->setTrackerDelegate({});
  EXPECT_EQ(tracker->trackerDelegate(), nullptr);
  tracker->setIAdAttributionManager(static_cast<Environment&>(phone.process).makeRetrieveiAdAttribution());
  EXPECT_NE(tracker->iAdAttributionManager(), nullptr);
  tracker->setIAdAttributionManager(nullptr);
  EXPECT_EQ(tracker->iAdAttributionManager(), nullptr);
  expectNothing();
}

TEST_F(MissingArguments, AResultThatIsMissingIsNull) {
  EXPECT_TRUE(tracker->retrieveAttribution().isNull());
  EXPECT_EQ(tracker->swiftRetrieveAttribution(), "");
  for (const Value& stored : {Value("text"), Value(1), Value(Array())}) {
    phone.store("attribution", stored);
    EXPECT_EQ(tracker->swiftRetrieveAttribution(), "");
  }
  phone.store("attribution", Value{{"a", std::numeric_limits<double>::infinity()}});
  EXPECT_EQ(tracker->swiftRetrieveAttribution(), "");
  phone.store("attribution", Dictionary());
  EXPECT_EQ(tracker->swiftRetrieveAttribution(), "{}");
}

TEST_F(MissingArguments, CallbacksWithoutAReplyAreSafe) {
  phone.sendsOddities();  // a position without coordinates
  internalsOf(*tracker).MarluneRetrieveAttribution(nullptr);
  internalsOf(*tracker).MarluneInitResult(nullptr);
  internalsOf(*tracker).MarluneInitialResult(nullptr);
  internalsOf(*tracker).iAdAttributionData(nullptr, false);
  internalsOf(*tracker).currentLocationUpdate(nullptr);
  phone.process.advance(100);
  // The answer without details parked a report, and the check after the init reply sent it.
  EXPECT_EQ(phone.stored("sendInitial"), Value(false));
  EXPECT_EQ(phone.stored("lastLocationTime"), Value(1700000000));
}

TEST_F(MissingArguments, EnormousAndInvalidTextTravelsWhole) {
  const std::string enormous = megabyteOf('x');
  tracker->trackEvent(enormous, enormous, "\xFF");
  tracker->identityLinkEvent(Value{{enormous, enormous}});
  tracker->sendDeepLink(URL(enormous + "\xC0"), enormous);
  tracker->handleWatchEvents(enormous);
  EXPECT_EQ(phone.batch()[0].dictionary()["data"].dictionary()["event_name"].text(), enormous);
  EXPECT_EQ(phone.batch()[0].dictionary()["data"].dictionary()["receipt"], Value("\xEF\xBF\xBD"));
  phone.process.advance(60);
  EXPECT_EQ(phone.events("send").size(), 1U);
}

/// Null is null however it is written.
TEST(ThePublicFace, TakesNullWrittenAsNullptrAndAsEmptyBraces) {
  Phone phone;
  EXPECT_EQ(MarluneTracker::initWithMarluneAppId(phone.process, {}), nullptr);
  EXPECT_EQ(MarluneTracker::initWithMarluneAppId(phone.process, nullptr, {}), nullptr);
  EXPECT_EQ(MarluneTracker::initMarluneWithParams(phone.process, {}), nullptr);
  EXPECT_EQ(MarluneTracker::initMarluneWithParams(phone.process, nullptr), nullptr);
  EXPECT_EQ(MarluneTracker::swiftInitMarluneWithParams(phone.process, {}), nullptr);
  EXPECT_EQ(MarluneTracker::swiftInitMarluneWithParams(phone.process, nullptr), nullptr);

  InstalledPhone installed;
  MarluneTracker& tracker = *installed.tracker;
  tracker.trackEvent(nullptr, nullptr);
  tracker.trackEvent({}, {});
  tracker.trackEvent(nullptr, nullptr, nullptr);
  tracker.trackEvent({}, {}, {});
  tracker.trackEventWithEventTitleString(nullptr, nullptr, true);
  tracker.trackEventWithEventTitleString({}, {}, true);
  tracker.identityLinkEvent(nullptr);
  tracker.identityLinkEvent({});
  tracker.spatialEvent(nullptr, 1, 2, 3);
  tracker.spatialEvent({}, 1, 2, 3);
  tracker.setTrackerDelegate(nullptr);
  tracker.setTrackerDelegate({});
  tracker.setCustomIdString(nullptr);
  tracker.setCustomIdString({});
  tracker.setIAdAttributionManager(nullptr);
  tracker.setIAdAttributionManager({});
  tracker.swiftTrackEvent(nullptr, "x");
  tracker.swiftTrackEvent("x", nullptr);
  tracker.swiftTrackEvent({}, {});
  tracker.swiftIdentityLinkEvent(nullptr);
  tracker.swiftIdentityLinkEvent({});
  tracker.swiftSpatialEvent(nullptr, 1, 2, 3);
  tracker.swiftSpatialEvent({}, 1, 2, 3);
  tracker.swiftSendDeepLink(nullptr, "x");
  tracker.swiftSendDeepLink({}, {});
  EXPECT_TRUE(installed.batch().empty());
  EXPECT_TRUE(tracker.customIdString().isNull());

  tracker.trackEventWithEventStandardParameters(nullptr);
  tracker.trackEventWithEventStandardParameters({});
  EXPECT_EQ(installed.logged("Parameter eventStandardParameters not provided."), 2);
  tracker.sendDeepLink(nullptr, nullptr);
  tracker.sendDeepLink({}, {});
  ASSERT_EQ(installed.batch().size(), 2U);
  EXPECT_EQ(installed.batch()[0], installed.batch()[1]);
  tracker.handleWatchEvents(nullptr);
  tracker.handleWatchEvents({}, true);
  EXPECT_EQ(installed.batch().size(), 4U);
  tracker.trackWatchEvent(nullptr, nullptr);
  tracker.trackWatchEvent({}, {});
  EXPECT_EQ(installed.batch().size(), 4U);
}

TEST(ThePublicFace, TakesADictionaryInBraces) {
  Phone phone;
  EXPECT_NE(MarluneTracker::initMarluneWithParams(phone.process, {{"marluneAppId", "demo"}}), nullptr);
  EXPECT_NE(MarluneTracker::swiftInitMarluneWithParams(phone.process, {{"marluneAppId", "demo"}}), nullptr);
  InstalledPhone installed;
  installed.tracker->identityLinkEvent({{"a", "b"}});
  installed.tracker->swiftIdentityLinkEvent({{"a", "b"}});
  ASSERT_EQ(installed.batch().size(), 2U);
  for (const Value& record : installed.batch()) EXPECT_EQ(record.dictionary()["data"], Value({{"a", "b"}}));
}

TEST(ThePublicFace, TakesALinkAsAURLObject) {
  InstalledPhone phone;
  phone.tracker->sendDeepLink(URL("app://link"), "x");
  phone.tracker->swiftSendDeepLink(URL("app://link"), "x");
  ASSERT_EQ(phone.batch().size(), 2U);
  EXPECT_EQ(phone.batch()[0], phone.batch()[1]);
}

TEST(APublicCall, KeepsItsTrackerAliveForItsOwnLength) {
  const std::vector<std::function<void(MarluneTracker&)>> calls{
      [](MarluneTracker& tracker) { tracker.trackEvent("event", "value"); },
      [](MarluneTracker& tracker) { tracker.trackEvent("event", "value", "receipt"); },
      [](MarluneTracker& tracker) { tracker.trackEventWithEventTitleString("event", "value", true); },
      [](MarluneTracker& tracker) {
        tracker.identityLinkEvent({{"a", "b"}});
      },
      [](MarluneTracker& tracker) { tracker.spatialEvent("event", 1, 2, 3); },
      [](MarluneTracker& tracker) { tracker.sendDeepLink(URL("app://link"), "x"); },
      [](MarluneTracker& tracker) { tracker.swiftTrackEvent("event", "value"); },
  };
  for (const auto& call : calls) {
    Phone phone;
    ObservedEnvironment environment(phone.process);
    auto tracker = MarluneTracker::initMarluneWithParams(environment, {{"marluneAppId", "demo"}});
    tracker->enableConsoleLogging(true);
    const std::weak_ptr<MarluneTracker> weak = tracker;
    environment.onLog = [&](std::string_view) { tracker.reset(); };
    call(*tracker);
    EXPECT_TRUE(weak.expired());
    EXPECT_EQ(phone.batch().size(), 1U) << "what follows the log line is done all the same";
  }
}

class RefersToATracker final : public MarluneRetrieveiAdAttribution {
 public:
  explicit RefersToATracker(std::shared_ptr<MarluneTracker>& tracker) : tracker_(tracker) {}
  RefersToATracker(const RefersToATracker&) = delete;
  RefersToATracker& operator=(const RefersToATracker&) = delete;
  ~RefersToATracker() override { tracker_.reset(); }
  void setIAdAttributionDelegate(std::weak_ptr<MarluneiAdAttributionDelegate> /*delegate*/) override {}
  void retrieveiAdAttribution(bool /*loggingEnabled*/) override {}

 private:
  std::shared_ptr<MarluneTracker>& tracker_;
};

TEST(APublicCall, KeepsItsTrackerAliveThroughTheEndOfWhatAPropertyHeld) {
  Phone phone;
  std::shared_ptr<MarluneTracker> tracker = phone.construct();
  const std::weak_ptr<MarluneTracker> weak = tracker;
  tracker->setIAdAttributionManager(std::make_shared<RefersToATracker>(tracker));
  tracker->setIAdAttributionManager(nullptr);
  EXPECT_TRUE(weak.expired());
}

}  // namespace
}  // namespace fliprugair
