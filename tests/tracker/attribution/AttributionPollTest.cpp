#include "Fliprugair/attribution/AttributionPoll.h"
#include "tracker/Phone.h"

namespace fliprugair {
namespace {

using Seconds = std::vector<double>;
constexpr std::string_view checkTimer = "marluneAttributionCheckTimerFired:";
constexpr std::string_view pollTimer = "marluneAttributionTimerFired:";

const Value result{{"source", "ad"}};

/// A phone whose host app wants the result.
class WantingPhone : public InstalledPhone {
 public:
  WantingPhone() : InstalledPhone({{"marluneAppId", "demo"}, {"retrieveAttribution", true}}) {}

  void answer(const Value& reply) {
    parts().MarluneRetrieveAttribution(reply);
    process.runQueues();
  }
  void answerWithData(const Value& data) { answer({{"success", 1}, {"data", data}}); }
};

class Delegate final : public MarluneTrackerClientDelegate {
 public:
  void Marlune_attributionResult(const Value& attribution) override { results.push_back(attribution); }
  std::vector<Value> results;
};

TEST(AttributionPoll, ChecksASecondAfterTheInitReply) {
  WantingPhone phone;
  EXPECT_EQ(phone.timers(checkTimer), Seconds({1}));
}

TEST(AttributionPoll, AsksWhenTheWaitAfterTheInstallReportIsOver) {
  WantingPhone phone;
  phone.process.advance(1);
  EXPECT_TRUE(phone.timers(checkTimer).empty());
  EXPECT_EQ(phone.timers(pollTimer), Seconds({7}));
  phone.process.advance(7);
  const auto questions = phone.requests("get_attribution");
  ASSERT_EQ(questions.size(), 1U);
  EXPECT_FALSE(questions[0].holds("data"));
  EXPECT_EQ(phone.stored("networkQueue").dictionary().size(), 1U);
  EXPECT_TRUE(phone.timers(pollTimer).empty());
}

TEST(AttributionPoll, ChecksEverySecondWhileTheInstallReportIsDue) {
  WantingPhone phone;
  phone.store("sendInitial", true);
  for (int second = 0; second < 3; ++second) {
    phone.process.advance(1);
    EXPECT_EQ(phone.timers(checkTimer), Seconds({1}));
  }
  EXPECT_TRUE(phone.timers(pollTimer).empty());
}

TEST(AttributionPoll, HandsOverTheParkedInstallReport) {
  WantingPhone phone;
  phone.store("sendInitial", true);
  phone.store("initialPayload", Value{{"action", "initial"}});
  phone.sendsOddities();  // no more of a report than this test needs
  phone.process.advance(1);
  EXPECT_EQ(phone.requests("initial").size(), 1U);
  EXPECT_EQ(phone.timers(pollTimer), Seconds({7}));
}

TEST(AttributionPoll, EndsWithTheCheckWhenNobodyWantsTheResult) {
  WantingPhone phone;
  phone.store("requestAttribution", false);
  phone.process.advance(1);
  EXPECT_TRUE(phone.timers(checkTimer).empty());
  EXPECT_TRUE(phone.timers(pollTimer).empty());
}

TEST(AttributionPoll, AsksAgainWhenTheAnswerSays) {
  struct Case {
    Value retry;
    double seconds;
  };
  for (const auto& [retry, seconds] :
       {Case{5, 5}, Case{0, 60}, Case{Value(), 60}, Case{"9", 9}, Case{2.9, 2}, Case{-2, 0}, Case{"x", 60}}) {
    SCOPED_TRACE(traceOf("retry", retry));
    WantingPhone phone;
    phone.process.advance(1);
    phone.process.advance(7);
    phone.answerWithData(Value{{"retry", retry}});
    ASSERT_EQ(phone.timers(pollTimer).size(), 1U);
    EXPECT_EQ(std::max(phone.timers(pollTimer)[0], 0.0), seconds);
    EXPECT_TRUE(phone.tracker->retrieveAttribution().isNull());
  }
}

TEST(AttributionPoll, AsksAgainAfterAMinuteWhenTheAnswerIsNoSuccess) {
  for (const Value& success : {Value(), Value(0), Value("no"), Value(Array({1}))}) {
    WantingPhone phone;
    phone.process.advance(8);
    phone.answer({{"success", success}, {"data", Value{{"retry", -1}, {"attribution", result}}}});
    EXPECT_EQ(phone.timers(pollTimer), Seconds({60}));
    EXPECT_TRUE(phone.tracker->retrieveAttribution().isNull());
  }
}

TEST(AttributionPoll, EndsWithAnAnswerWithoutData) {
  for (const Value& data : {Value(), Value("text"), Value(Array({1}))}) {
    WantingPhone phone;
    phone.process.advance(8);
    phone.answerWithData(data);
    EXPECT_TRUE(phone.timers(pollTimer).empty());
    EXPECT_EQ(phone.stored("requestAttribution"), Value(true));
  }
}

TEST(AttributionPoll, StoresAndDeliversAFinalAnswer) {
  WantingPhone phone;
  const auto delegate = std::make_shared<Delegate>();
  phone.tracker->setTrackerDelegate(delegate);
  phone.process.advance(8);
  phone.answerWithData(Value{{"retry", -1}, {"attribution", result}});
  EXPECT_EQ(delegate->results, std::vector<Value>({result}));
  EXPECT_EQ(phone.tracker->retrieveAttribution(), result);
  EXPECT_EQ(phone.stored("requestAttribution"), Value(false));
  EXPECT_TRUE(phone.timers(pollTimer).empty());
}

TEST(AttributionPoll, DeliversFalseForAFinalAnswerThatIsNoDictionary) {
  const Value none{{"attribution", "false"}};
  for (const Value& answer : {Value(), Value("text"), Value(Array())}) {
    WantingPhone phone;
    const auto delegate = std::make_shared<Delegate>();
    phone.tracker->setTrackerDelegate(delegate);
    phone.answerWithData(Value{{"retry", -1}, {"attribution", answer}});
    EXPECT_EQ(delegate->results, std::vector<Value>({none}));
    EXPECT_EQ(phone.tracker->retrieveAttribution(), none);
  }
}

TEST(AttributionPoll, AsksNoMoreOnceTheResultIsKnown) {
  WantingPhone phone;
  phone.answerWithData(Value{{"retry", -1}, {"attribution", result}});
  phone.process.advance(1000);
  phone.tracker = phone.construct({{"marluneAppId", "demo"}, {"retrieveAttribution", true}});
  EXPECT_EQ(phone.stored("requestAttribution"), Value(false));
  phone.parts().MarluneInitResult(neutral);
  phone.process.advance(1000);
  EXPECT_TRUE(phone.requests("get_attribution").empty());
  EXPECT_TRUE(phone.timers(checkTimer).empty());
}

TEST(AttributionPoll, IsMissingOnlyWhileWantedAndUnknown) {
  InstalledPhone phone;
  AttributionPoll& poll = phone.parts().attribution;
  for (const bool wanted : {false, true}) {
    for (const Value& known : {Value(), result}) {
      phone.store("requestAttribution", wanted);
      phone.store("attribution", known);
      EXPECT_EQ(poll.isMissing(), wanted && known.isNull());
      EXPECT_EQ(poll.isRequested(), wanted);
    }
  }
}

TEST(AttributionPoll, WantsTheResultOnlyWhileItIsUnknown) {
  InstalledPhone phone;
  AttributionPoll& poll = phone.parts().attribution;
  for (const bool wanted : {false, true}) {
    for (const Value& known : {Value(), Value(Dictionary()), result}) {
      phone.store("attribution", known);
      poll.storeRequest(wanted);
      EXPECT_EQ(poll.isRequested(), wanted && known.isNull());
    }
  }
}

TEST(AttributionPoll, GoesOnWithAStartThatAsksForNoSettings) {
  WantingPhone phone;
  phone.tracker.reset();
  phone.process.runQueues();
  EXPECT_TRUE(phone.timers(checkTimer).empty());
  phone.forgetEvents();
  phone.tracker = phone.construct({{"marluneAppId", "demo"}, {"retrieveAttribution", true}, {"enableLogging", true}});
  EXPECT_TRUE(phone.requests("init").empty());
  EXPECT_EQ(phone.timers(checkTimer), Seconds({1}));
  EXPECT_EQ(phone.logged("Marlune library - starting attribution timer (not resending mlinit)"), 1);
}

TEST(AttributionPoll, StaysQuietAtAStartThatDoesNotWantTheResult) {
  InstalledPhone phone;
  phone.tracker = phone.construct();
  EXPECT_TRUE(phone.timers(checkTimer).empty());
}

TEST(AttributionPoll, GoesOnWithTheTimerOfAnEarlierTrackerThatIsKept) {
  WantingPhone phone;
  const auto later = phone.construct({{"marluneAppId", "demo"}, {"retrieveAttribution", true}});
  EXPECT_EQ(phone.timers(checkTimer).size(), 2U);
  phone.process.advance(1);
  EXPECT_EQ(phone.timers(pollTimer).size(), 2U);
}

TEST(AttributionPoll, StopsItsTimersWhenTheTrackerEnds) {
  WantingPhone phone;
  phone.tracker.reset();
  phone.process.runQueues();
  EXPECT_TRUE(phone.timers(checkTimer).empty());
  WantingPhone asking;
  asking.process.advance(1);
  asking.tracker.reset();
  asking.process.runQueues();
  EXPECT_TRUE(asking.timers(pollTimer).empty());
}

TEST(AttributionPoll, GivesTheResultAsCompactTextOrEmptyText) {
  InstalledPhone phone;
  EXPECT_EQ(phone.parts().attribution.retrieveAttributionText(), "");
  phone.store("attribution", result);
  EXPECT_EQ(phone.parts().attribution.retrieveAttributionText(), R"({"source":"ad"})");
}

}  // namespace
}  // namespace fliprugair
