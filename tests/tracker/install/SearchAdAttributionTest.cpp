#include "Fliprugair/install/SearchAdAttribution.h"
#include "tracker/Phone.h"

namespace fliprugair {
namespace {

using Seconds = std::vector<double>;
constexpr std::string_view retryTimer = "retryiAdAttribution:";
constexpr std::string_view timeOut = "iAdAttributionPayloadTimeout:";

const Value details{{"attributionDetails", Value{{"campaign", 7}}},
                    {"iAdAttribution", "true"},
                    {"appPurchaseDate", "then"},
                    {"iAdImpressionDate", "before"}};

/// A phone whose install report has asked for search-ad details.
class AskingPhone : public InstalledPhone {
 public:
  explicit AskingPhone(int attempts = 3) {
    store("iAdAttributionAttempts", attempts);
    ask();
  }
  void ask() { parts().searchAd.ask(Value{{"device", "phone"}}.dictionary(), Value{{"language", "en"}}.dictionary()); }
  void answer(const Value& given, bool unknown = false) {
    process.answerSearchAd(given, unknown);
    process.runQueues();
  }
  Dictionary parkedData() const { return stored("initialPayload").dictionary()["data"].dictionary(); }
  /// Answers "unknown", and lets the retry that follows ask.
  void retry() {
    answer(nullptr, true);
    parts().searchAd.armRetryIfDue();
    process.runQueues();
    process.advance(10);
  }
};

TEST(SearchAdAttribution, KeepsTheReportWhileItAsks) {
  AskingPhone phone;
  EXPECT_EQ(phone.stored("iAdAttribution_INITIAL_PASSTHROUGH"),
            Value({{"initialData", Value{{"device", "phone"}}}, {"watchDictionary", Value{{"language", "en"}}}}));
  ASSERT_EQ(phone.events("search_ad_request").size(), 1U);
  EXPECT_EQ(phone.events("search_ad_request")[0]["logging"], Value(false));
  EXPECT_NE(phone.tracker->iAdAttributionManager(), nullptr);
  EXPECT_TRUE(phone.stored("initialPayload").isNull());
}

TEST(SearchAdAttribution, ParksTheReportWithTheDetails) {
  AskingPhone phone;
  phone.answer(details);
  EXPECT_EQ(phone.parkedData(), Value({{"device", "phone"},
                                       {"iad_attribution_details", Value{{"campaign", 7}}},
                                       {"iad_attribution", "true"},
                                       {"app_purchase_date", "then"},
                                       {"iad_impression_date", "before"}})
                                    .dictionary());
  EXPECT_EQ(phone.stored("initialPayload").dictionary()["action"], Value("initial"));
  EXPECT_EQ(phone.stored("watchProperties"), Value({{"language", "en"}}));
  EXPECT_TRUE(phone.stored("iAdAttribution_INITIAL_PASSTHROUGH").isNull());
}

TEST(SearchAdAttribution, ParksTheReportAsItIsWithoutDetails) {
  AskingPhone phone;
  phone.answer(nullptr);
  EXPECT_EQ(phone.parkedData(), Value({{"device", "phone"}}).dictionary());
}

TEST(SearchAdAttribution, ParksTheReportAsItIsWhenTheDetailsNestTooDeep) {
  AskingPhone phone;
  Value inner = 1;
  while (inner.depth() < Value::deepest - 1) inner = Array({inner});
  phone.answer(Value{{"attributionDetails", inner}, {"iAdAttribution", "true"}});
  EXPECT_EQ(phone.parkedData(), Value({{"device", "phone"}}).dictionary());
}

TEST(SearchAdAttribution, IgnoresAnswersAfterTheFirst) {
  AskingPhone phone;
  phone.answer(details);
  phone.store("initialPayload", "parked");
  phone.answer(details);
  phone.answer(nullptr, true);
  EXPECT_EQ(phone.stored("initialPayload"), Value("parked"));
  EXPECT_EQ(phone.state().iAdAttributionAttempts, 1);
  EXPECT_FALSE(phone.state().triggerRetryiAdRetrieval);
}

TEST(SearchAdAttribution, TakesAnAnswerForEachReport) {
  AskingPhone phone;
  phone.answer(nullptr);
  phone.ask();
  phone.answer(details);
  EXPECT_EQ(phone.parkedData()["iad_attribution"], Value("true"));
}

TEST(SearchAdAttribution, IsAskedAgainWhileTheDetailsAreUnknown) {
  AskingPhone phone;
  phone.answer(nullptr, true);
  EXPECT_TRUE(phone.state().triggerRetryiAdRetrieval);
  EXPECT_TRUE(phone.stored("initialPayload").isNull());
  phone.parts().searchAd.armRetryIfDue();
  phone.process.runQueues();
  EXPECT_FALSE(phone.state().triggerRetryiAdRetrieval);
  EXPECT_EQ(phone.timers(retryTimer), Seconds({10}));
  phone.process.advance(10);
  EXPECT_EQ(phone.events("search_ad_request").size(), 2U);
  EXPECT_TRUE(phone.timers(retryTimer).empty());
}

TEST(SearchAdAttribution, ArmsNoRetryThatIsNotDue) {
  AskingPhone phone;
  phone.parts().searchAd.armRetryIfDue();
  phone.process.runQueues();
  EXPECT_TRUE(phone.timers(retryTimer).empty());
}

TEST(SearchAdAttribution, WaitsForARetryAsLongAsTheControlHostSaid) {
  AskingPhone phone;
  phone.store("iAdRetryWait", 33);
  phone.answer(nullptr, true);
  phone.parts().searchAd.armRetryIfDue();
  phone.process.runQueues();
  EXPECT_EQ(phone.timers(retryTimer), Seconds({33}));
}

TEST(SearchAdAttribution, GivesOnlyARetryATimeOut) {
  AskingPhone phone;
  EXPECT_TRUE(phone.timers(timeOut).empty());
  phone.store("iAdAttributionWait", 44);
  phone.retry();
  EXPECT_EQ(phone.timers(timeOut), Seconds({44}));
}

TEST(SearchAdAttribution, ParksTheReportAsItIsWhenARetryTimesOut) {
  AskingPhone phone;
  phone.retry();
  phone.process.advance(20);
  EXPECT_EQ(phone.parkedData(), Value({{"device", "phone"}}).dictionary());
  EXPECT_EQ(phone.state().iAdAttributionAttempts, 2);
}

TEST(SearchAdAttribution, StopsTheTimeOutWithTheAnswer) {
  AskingPhone phone;
  phone.retry();
  phone.answer(details);
  EXPECT_TRUE(phone.timers(timeOut).empty());
  EXPECT_EQ(phone.state().iAdAttributionPayloadTimer.load(), nullptr);
}

TEST(SearchAdAttribution, StopsARetryWithALateAnswer) {
  AskingPhone phone;
  phone.answer(nullptr, true);
  phone.parts().searchAd.armRetryIfDue();
  phone.process.runQueues();
  phone.answer(details);
  EXPECT_TRUE(phone.timers(retryTimer).empty());
  EXPECT_EQ(phone.parkedData()["iad_attribution"], Value("true"));
}

TEST(SearchAdAttribution, TakesTheLastAllowedAnswerThoughTheDetailsAreUnknown) {
  for (const int attempts : {0, 1, 2, 3}) {
    SCOPED_TRACE(attempts);
    AskingPhone phone(attempts);
    int answers = 0;
    while (phone.stored("initialPayload").isNull() && answers < 10) {
      phone.answer(nullptr, true);
      ++answers;
    }
    EXPECT_EQ(answers, std::max(attempts, 1));
    EXPECT_TRUE(phone.state().iAdDelegateProcessed);
  }
}

TEST(SearchAdAttribution, AsksNobodyWhenTheRetrysManagerIsGone) {
  AskingPhone phone;
  phone.answer(nullptr, true);
  phone.parts().searchAd.armRetryIfDue();
  phone.process.runQueues();
  phone.tracker->setIAdAttributionManager(nullptr);
  phone.process.advance(10);
  EXPECT_EQ(phone.events("search_ad_request").size(), 1U);
  EXPECT_EQ(phone.timers(timeOut).size(), 1U);
}

TEST(SearchAdAttribution, LogsTheAnswerThatCountsWhileLoggingIsOn) {
  AskingPhone phone;
  phone.tracker->enableConsoleLogging(true);
  phone.answer(nullptr, true);
  phone.answer(Value{{"iAdAttribution", "true"}});
  EXPECT_EQ(phone.logged(R"(Marlune library - iAdAttributionPayload: {"iAdAttribution":"true"})"), 1);
  EXPECT_EQ(phone.events("log").size(), 1U);
}

TEST(SearchAdAttribution, ForgetsAParkedReportThatIsRemoved) {
  AskingPhone phone;
  phone.answer(nullptr);
  EXPECT_FALSE(phone.parts().searchAd.parkedRequest().isNull());
  phone.parts().searchAd.removeParkedRequest();
  EXPECT_TRUE(phone.parts().searchAd.parkedRequest().isNull());
}

TEST(SearchAdAttribution, StopsItsTimersWhenTheTrackerEnds) {
  AskingPhone phone;
  phone.retry();
  ASSERT_EQ(phone.timers(timeOut).size(), 1U);
  phone.tracker.reset();
  phone.process.runQueues();
  EXPECT_TRUE(phone.timers(timeOut).empty());
}

TEST(SearchAdAttribution, BeginsWithItsDefaultsAndKeepsTheControlHosts) {
  struct Case {
    std::string_view name;
    int standard;
  };
  for (const auto& [name, standard] :
       {Case{"iAdAttributionAttempts", 3}, Case{"iAdAttributionWait", 20}, Case{"iAdRetryWait", 10}}) {
    Phone phone;
    auto tracker = phone.construct();
    EXPECT_EQ(phone.stored(name), Value(standard)) << name;
    phone.store(name, 9);
    tracker = phone.construct();
    EXPECT_EQ(phone.stored(name), Value(9)) << name;
  }
}

}  // namespace
}  // namespace fliprugair
