// What a control host may answer to the init request: nothing but a setting's own entries may change.

#include <algorithm>
#include <limits>

#include "Phone.h"

namespace fliprugair {
namespace {

const std::string invalidUtf8 = "a\xFF\xC0\x80z";

const std::vector<Value>& wrongValues() {
  static const std::vector<Value> values{
      true,
      false,
      0,
      1,
      -1,
      INT64_MAX,
      INT64_MIN,
      0.5,
      1e300,
      -1e300,
      "",
      " ",
      "x",
      "0",
      "1",
      invalidUtf8,
      megabyteOf('x'),
      Array(),
      Array({1, "x", Value(), Array(), 1e300}),
      Dictionary(),
      Value{{"a", Array({1})}, {"", Value()}},
  };
  return values;
}

std::vector<Value> wrongValues(bool (*isWrong)(const Value&)) {
  std::vector<Value> values;
  for (const Value& value : wrongValues()) {
    if (isWrong(value)) values.push_back(value);
  }
  return values;
}

/// How a device stands before the reply.
struct Setting {
  Value options = Value{{"marluneAppId", "demo"}};
  Value stored = Dictionary();  ///< short names of keys
};

/// Installed and reported already: the neutral reply leads to no request and no record.
Setting reported() {
  Setting setting;
  setting.stored = Value{
      {"sendInitial", false},
      {"idfa", "66666666-7777-4888-9999-AAAAAAAAAAAA"},
      {"watchProperties", Value{{"app_limit_tracking", "0"},
                                {"app_short_string", "1.0"},
                                {"app_version", "100"},
                                {"device_limit_tracking", "0"},
                                {"is_genuine", "1"},
                                {"language", "en"},
                                {"os_version", "iOS 9.3"}}},
  };
  return setting;
}

Snapshot afterReply(const Setting& setting, const Value& body) {
  Phone phone;
  const auto entries = setting.stored.dictionary().entries();
  for (const Dictionary::Entry& entry : entries) phone.store(entry.key(), entry.value);
  const auto tracker = phone.construct(setting.options);
  phone.reply(1, body);
  return snapshotOf(phone);
}

const Value neutralFlags{{"resend_initial", false}};
const Value neutral{{"success", 1}, {"flags", neutralFlags}};

Value withFlag(std::string_view name, const Value& value, const Value& body = neutral) {
  return with(body, "flags", with(body.dictionary()["flags"], name, value));
}

TEST(InitReply, ThatIsNeutralSendsAndRecordsNothing) {
  Snapshot after = afterReply(reported(), neutral);
  EXPECT_EQ(after.count("event send 2/request"), 0U);
  EXPECT_EQ(after.count(storePath("batchEventQueue")), 0U);
  EXPECT_EQ(after[storePath("firstInitReceived")], "true");
  EXPECT_EQ(after[storePath("lastMLInitSent")], "1700000000");
}

TEST(InitReply, SettingsThatAreNullCountAsAbsent) {
  const Snapshot expected = afterReply(reported(), neutral);
  for (const std::string_view name :
       {"marlune_app_id", "marlune_device_id", "mlinit_wait", "mltracker_wait", "iad_attribution_attempts",
        "iad_attribution_wait", "iad_retry_wait", "send_id_updates", "location_accuracy", "location_timeout",
        "location_staleness", "currency", "session_tracking", "getattribution_wait"}) {
    SCOPED_TRACE(name);
    expectSame(afterReply(reported(), withFlag(name, nullptr)), expected);
  }
  for (const std::string_view name : {"msg", "blacklist", "eventname_blacklist", "whitelist", "outside_services"}) {
    SCOPED_TRACE(name);
    expectSame(afterReply(reported(), with(neutral, name, nullptr)), expected);
  }
}

TEST(InitReply, SettingsThatNobodyKnowsChangeNothing) {
  const Snapshot expected = afterReply(reported(), neutral);
  for (const std::string_view name : {"", "mlinitWait", "trackerHostname", "com.marlune.MarluneTracker.deviceId"}) {
    SCOPED_TRACE(name);
    expectSame(afterReply(reported(), withFlag(name, "x")), expected);
    expectSame(afterReply(reported(), with(neutral, name, "x")), expected);
  }
}

TEST(InitReply, SettingsOfTheFlagsAreNotReadAtTheTopNorTheOtherWayRound) {
  const Snapshot expected = afterReply(reported(), neutral);
  for (const std::string_view name :
       {"mlinit_wait", "currency", "session_tracking", "marlune_app_id", "send_id_updates"}) {
    SCOPED_TRACE(name);
    expectSame(afterReply(reported(), with(neutral, name, "none")), expected);
  }
  for (const std::string_view name : {"blacklist", "eventname_blacklist", "whitelist"}) {
    SCOPED_TRACE(name);
    expectSame(afterReply(reported(), withFlag(name, Array({"idfa", "idfv", "location"}))), expected);
  }
}

TEST(InitReply, AnyThatIsNoDictionaryReachesNobody) {
  Phone reference;
  const auto kept = reference.construct();
  const Snapshot expected = snapshotOf(reference);
  for (const Value& body : wrongValues([](const Value& value) { return !value.isDictionary(); })) {
    SCOPED_TRACE(traceOf("body", body));
    expectSame(afterReply(Setting(), body), expected);
  }
}

TEST(InitReply, FlagsThatAreNoDictionaryAreEmpty) {
  const Snapshot expected = afterReply(reported(), Value{{"success", 1}});
  for (const Value& flags : wrongValues([](const Value& value) { return !value.isDictionary(); })) {
    SCOPED_TRACE(traceOf("flags", flags));
    expectSame(afterReply(reported(), Value{{"success", 1}, {"flags", flags}}), expected);
  }
}

TEST(InitReply, SuccessChangesNothingWhateverItIs) {
  const Snapshot expected = afterReply(reported(), neutral);
  std::vector<Value> values = wrongValues();
  values.emplace_back();
  for (const Value& success : values) {
    SCOPED_TRACE(traceOf("success", success));
    expectSame(afterReply(reported(), with(neutral, "success", success)), expected);
  }
}

TEST(InitReply, IsSaidToHaveFailedUnlessSuccessReadsAsOne) {
  struct Case {
    Value success;
    bool failed;
  };
  for (const auto& [success, failed] : {
           Case{1, false},      Case{true, false},  Case{1.0, false},       Case{"1", false},
           Case{Value(), true}, Case{0, true},      Case{false, true},      Case{2, true},
           Case{-1, true},      Case{1.5, true},    Case{1e300, true},      Case{INT64_MAX, true},
           Case{"", true},      Case{"01", true},   Case{" 1", true},       Case{"1.0", true},
           Case{"true", true},  Case{"\xFF", true}, Case{Array({1}), true}, Case{Value{{"1", 1}}, true},
       }) {
    SCOPED_TRACE(traceOf("success", success));
    Phone phone;
    const auto tracker = phone.construct({{"marluneAppId", "demo"}, {"enableLogging", true}});
    phone.reply(1, {{"success", success}, {"flags", neutralFlags}});
    const auto lines = phone.events("log");
    EXPECT_EQ(failed, std::ranges::any_of(lines, [](const Dictionary& line) {
                return line["text"].text().find("Marlune library - init command failed: {") != std::string::npos;
              }));
  }
}

TEST(InitReply, OnlyAListCanAskForABackOff) {
  const Snapshot expected = afterReply(Setting(), neutral);
  std::vector<Value> values = wrongValues();
  values.emplace_back("resonance_cascade");
  values.push_back(Value{{"resonance_cascade", "resonance_cascade"}});
  values.emplace_back(Array({Array({"resonance_cascade"}), "Resonance_cascade", "resonance_cascade "}));
  for (const Value& msg : values) {
    SCOPED_TRACE(traceOf("msg", msg));
    expectSame(afterReply(Setting(), with(neutral, "msg", msg)), expected);
  }
}

TEST(InitReply, ABackOffIsFoundAmongAnything) {
  const Snapshot expected = afterReply(Setting(), {{"msg", Array({"resonance_cascade"})}});
  EXPECT_EQ(expected.at("state/rcascadeTimerDelay"), "10");
  EXPECT_EQ(expected.at(storePath("firstInitReceived")), "false");
  const Value msg =
      Array({1, Value(), 1e300, megabyteOf('x'), Array(), Dictionary(), "resonance_cascade", "resonance_cascade"});
  expectSame(afterReply(Setting(), with(neutral, "msg", msg)), expected);
}

TEST(InitReply, ABackOffCountsForNothingOnceTheInstallIsReported) {
  expectSame(afterReply(reported(), with(neutral, "msg", Array({"resonance_cascade"}))),
             afterReply(reported(), neutral));
}

TEST(InitReply, IdentifiersAreTakenAsTextThatIsNotEmpty) {
  struct Case {
    std::string_view name;
    std::string_view key;
  };
  const Snapshot without = afterReply(reported(), neutral);
  for (const auto& [name, key] : {Case{"marlune_app_id", "appId"}, Case{"marlune_device_id", "deviceId"}}) {
    for (const Value& value : wrongValues()) {
      SCOPED_TRACE(traceOf(name, value));
      Snapshot expected = without;
      if (!value.text().empty()) put(expected, storePath(key), value);
      expectSame(afterReply(reported(), withFlag(name, value)), expected);
    }
  }
}

TEST(InitReply, TheFirstDeviceIdentifierIsFilledInOnlyWhenItIsEmpty) {
  for (const Value& first : {Value(""), Value("first"), Value(7), Value(Array())}) {
    SCOPED_TRACE(traceOf("origDeviceId", first));
    Setting setting = reported();
    setting.stored = with(setting.stored, "origDeviceId", first);
    Snapshot expected = afterReply(setting, neutral);
    put(expected, storePath("deviceId"), "given");
    if (first == Value("")) put(expected, storePath("origDeviceId"), "given");
    expectSame(afterReply(setting, withFlag("marlune_device_id", "given")), expected);
  }
}

struct NumericCase {
  Value given;
  std::int64_t read;  ///< before it is limited
};

const std::vector<NumericCase>& numbers() {
  static const std::vector<NumericCase> cases{
      {true, 1},
      {false, 0},
      {0, 0},
      {5, 5},
      {59, 59},
      {60, 60},
      {90, 90},
      {604800, 604800},
      {604801, 604801},
      {-5, -5},
      {INT64_MAX, INT64_MAX},
      {INT64_MIN, INT64_MIN},
      {90.9, 90},
      {-0.9, 0},
      {1e300, INT64_MAX},
      {-1e300, INT64_MIN},
      {9223372036854775807.0, INT64_MAX},
      {"90", 90},
      {" +90x", 90},
      {"90.9", 90},
      {"9e5", 9},
      {"", 0},
      {" ", 0},
      {"abc", 0},
      {"-90", -90},
      {"--90", 0},
      {"2147483648", INT32_MAX},
      {"99999999999999999999", INT32_MAX},
      {"-99999999999999999999", INT32_MIN},
      {megabyteOf('9'), INT32_MAX},
      {megabyteOf('x'), 0},
      {"\xFF"
       "90",
       0},
      {Array(), 0},
      {Array({90}), 0},
      {Dictionary(), 0},
      {Value{{"90", 90}}, 0},
  };
  return cases;
}

TEST(InitReply, NumericSettingsAreLimitedWhateverTheyAre) {
  struct Case {
    std::string_view name;
    std::string_view key;
    std::int64_t least;
    std::int64_t most;
  };
  const Snapshot without = afterReply(reported(), neutral);
  for (const auto& [name, key, least, most] : {
           Case{"mlinit_wait", "mlinitWait", 60, 604800},
           Case{"mltracker_wait", "mltrackerWait", 60, 604800},
           Case{"iad_attribution_attempts", "iAdAttributionAttempts", 1, 10},
           Case{"iad_attribution_wait", "iAdAttributionWait", 1, 120},
           Case{"iad_retry_wait", "iAdRetryWait", 1, 60},
       }) {
    for (const auto& [given, read] : numbers()) {
      SCOPED_TRACE(traceOf(name, given));
      Snapshot expected = without;
      put(expected, storePath(key), std::clamp(read, least, most));
      expectSame(afterReply(reported(), withFlag(name, given)), expected);
    }
  }
}

TEST(InitReply, TheAttributionWaitIsLimitedWhileAttributionIsWanted) {
  Setting wanting = reported();
  wanting.options = with(wanting.options, "retrieveAttribution", true);
  const Snapshot without = afterReply(wanting, neutral);
  EXPECT_EQ(without.at(storePath("attributionWait")), "7");
  for (const auto& [given, read] : numbers()) {
    SCOPED_TRACE(traceOf("getattribution_wait", given));
    Snapshot expected = without;
    put(expected, storePath("attributionWait"), std::clamp<std::int64_t>(read, 1, 30));
    expectSame(afterReply(wanting, withFlag("getattribution_wait", given)), expected);
    expectSame(afterReply(reported(), withFlag("getattribution_wait", given)), afterReply(reported(), neutral));
  }
}

struct BooleanCase {
  Value given;
  bool expected;
};

const std::vector<BooleanCase>& booleans() {
  static const std::vector<BooleanCase> cases{
      {true, true},
      {false, false},
      {0, false},
      {1, true},
      {-1, true},
      {INT64_MIN, true},
      {0.0, false},
      {0.1, true},
      {1e300, true},
      {-1e300, true},
      {"", false},
      {"0", false},
      {"1", true},
      {"yes", true},
      {"true", true},
      {"no", false},
      {" +007", true},
      {megabyteOf('x'), false},
      {megabyteOf('0') + "1", true},
      {"\xFF", false},
      {Array(), false},
      {Array({1}), false},
      {Dictionary(), false},
      {Value{{"1", 1}}, false},
  };
  return cases;
}

TEST(InitReply, IdentifierUpdatesAreReadAsABoolean) {
  Setting on = reported();
  on.stored = with(on.stored, "sendIdUpdates", true);
  for (const auto& [given, yes] : booleans()) {
    SCOPED_TRACE(traceOf("send_id_updates", given));
    for (const Setting& setting : {reported(), on}) {
      Snapshot expected = afterReply(setting, neutral);
      put(expected, storePath("sendIdUpdates"), yes);
      expectSame(afterReply(setting, withFlag("send_id_updates", given)), expected);
    }
  }
}

TEST(InitReply, ResendingTheReportIsReadAsABooleanAndAbsentIsYes) {
  const Snapshot asked = afterReply(reported(), Value{{"success", 1}});
  EXPECT_EQ(asked.at(storePath("sendInitial")), "true");
  expectSame(afterReply(reported(), withFlag("resend_initial", nullptr)), asked);
  const Snapshot left = afterReply(reported(), neutral);
  EXPECT_EQ(left.at(storePath("sendInitial")), "false");
  for (const auto& [given, yes] : booleans()) {
    SCOPED_TRACE(traceOf("resend_initial", given));
    expectSame(afterReply(reported(), withFlag("resend_initial", given)), yes ? asked : left);
  }
}

TEST(InitReply, ListsOfAnotherKindChangeNothing) {
  const Snapshot expected = afterReply(reported(), neutral);
  for (const std::string_view name : {"blacklist", "eventname_blacklist", "whitelist"}) {
    for (const Value& value : wrongValues([](const Value& value) { return !value.isArray(); })) {
      SCOPED_TRACE(traceOf(name, value));
      expectSame(afterReply(reported(), with(neutral, name, value)), expected);
    }
  }
}

const Array oddItems{
    1, Value(), true, 1e300, "", invalidUtf8, megabyteOf('x'), Array({"idfa", "idfv", "location"}), Dictionary()};

TEST(InitReply, TheBlacklistIsTakenWhateverIsInIt) {
  struct Case {
    Array list;
    bool vendor;
    bool advertising;
  };
  for (const auto& [list, vendor, advertising] :
       {Case{Array(), false, false}, Case{oddItems, false, false}, Case{oddItems.appending("idfv"), true, false},
        Case{oddItems.appending("idfa").appending("idfa"), false, true},
        Case{Array({"IDFA", "idfa ", "idf"}), false, false}}) {
    Snapshot expected = afterReply(reported(), neutral);
    put(expected, "state/disabledDeviceTypes", list);
    put(expected, storePath("idfvBlacklisted"), vendor);
    put(expected, storePath("idfaBlacklisted"), advertising);
    expectSame(afterReply(reported(), with(neutral, "blacklist", list)), expected);
  }
}

TEST(InitReply, TheEventNamesAreTakenWhateverIsInThem) {
  for (const Array& list : {Array(), oddItems, oddItems.appending("level")}) {
    Snapshot expected = afterReply(reported(), neutral);
    put(expected, "state/blacklistedEventNames", list);
    put(expected, storePath("blacklistedEventNames"), list);
    expectSame(afterReply(reported(), with(neutral, "eventname_blacklist", list)), expected);
  }
}

TEST(InitReply, OnlyTheWordLocationTurnsLocationReportsOn) {
  const Snapshot off = afterReply(reported(), neutral);
  expectSame(afterReply(reported(), with(neutral, "whitelist", Array())), off);
  expectSame(afterReply(reported(), with(neutral, "whitelist", oddItems)), off);
  const Snapshot on = afterReply(reported(), with(neutral, "whitelist", Array({"location"})));
  EXPECT_EQ(on.at("state/reportLocation"), "true");
  expectSame(afterReply(reported(), with(neutral, "whitelist", oddItems.appending("location"))), on);
}

TEST(InitReply, LocationSettingsOfAnotherKindKeepTheirDefault) {
  struct Case {
    std::string_view name;
    std::string_view member;  ///< of the request to the location manager
    std::int64_t standard;
    std::int64_t least;
    std::int64_t most;
  };
  const Value locating = with(neutral, "whitelist", Array({"location"}));
  const Snapshot on = afterReply(reported(), locating);
  for (const auto& [name, member, standard, least, most] :
       {Case{"location_accuracy", "accuracy", 50, 10, 5000}, Case{"location_timeout", "timeout", 15, 3, 60},
        Case{"location_staleness", "", 15, 1, 10080}}) {
    for (const auto& [given, read] : numbers()) {
      SCOPED_TRACE(traceOf(name, given));
      const std::int64_t value = given.isNumber() || given.isText() ? std::clamp(read, least, most) : standard;
      Snapshot expected = on;
      put(expected, "state/" + std::string(name), value);
      if (!member.empty()) put(expected, "event location_request 1/" + std::string(member), value);
      expectSame(afterReply(reported(), withFlag(name, given, locating)), expected);
      expectSame(afterReply(reported(), withFlag(name, given)), afterReply(reported(), neutral));
    }
  }
}

TEST(InitReply, CurrencyIsStoredWhateverItIs) {
  for (const Value& value : wrongValues()) {
    SCOPED_TRACE(traceOf("currency", value));
    Snapshot expected = afterReply(reported(), neutral);
    put(expected, storePath("currency"), value);
    expectSame(afterReply(reported(), withFlag("currency", value)), expected);
  }
}

TEST(InitReply, SessionTrackingKnowsTwoWords) {
  struct Case {
    Value stored;
    std::int64_t code;  ///< what it reads as
  };
  for (const auto& [stored, code] : {Case{1, 1}, Case{2, 2}, Case{7, 7}, Case{"2", 2}, Case{2.9, 2}, Case{true, 1},
                                     Case{"none", 0}, Case{Array(), 0}, Case{1e300, INT64_MAX}}) {
    Setting setting = reported();
    setting.stored = with(setting.stored, "sessionTracking", stored);
    const Snapshot without = afterReply(setting, neutral);
    std::vector<Value> words = wrongValues();
    for (const std::string_view word : {"full", "none", "Full", "none ", "fullnone"}) words.emplace_back(word);
    for (const Value& word : words) {
      SCOPED_TRACE(traceOf("session_tracking", word));
      Snapshot expected = without;
      put(expected, storePath("sessionTracking"), word == Value("full") ? 1 : word == Value("none") ? 2 : code);
      expectSame(afterReply(setting, withFlag("session_tracking", word)), expected);
    }
  }
}

Value nested(const Value& inner) { return {{"ios_nsud", inner}, {"ios_docs", inner}}; }

TEST(InitReply, OutsideServicesOfAnotherKindFindNothing) {
  const Snapshot expected = afterReply(reported(), neutral);
  for (const Value& value : wrongValues()) {
    SCOPED_TRACE(traceOf("outside_services", value));
    expectSame(afterReply(reported(), with(neutral, "outside_services", value)), expected);
    expectSame(afterReply(reported(), with(neutral, "outside_services", nested(value))), expected);
    expectSame(afterReply(reported(), with(neutral, "outside_services", nested({{"service", value}}))), expected);
    expectSame(afterReply(reported(), with(neutral, "outside_services", nested({{"service", Array({value, value})}}))),
               expected);
  }
  for (const std::string_view name : {"../../etc/passwd", "/etc/passwd", ".", "..", "/", "a/../b", "CON", "%s%n"}) {
    SCOPED_TRACE(name);
    expectSame(afterReply(reported(), with(neutral, "outside_services", nested({{"service", Array({name})}}))),
               expected);
  }
}

TEST(InitReply, OutsideServicesAreFoundAmongAnything) {
  const std::string_view there = "com.marlune.MarluneTracker.deviceId";
  const Value clean{{"ios_nsud", Value{{"service", Array({there})}}}};
  const Value odd{
      {"ios_nsud", Value{{"bare", there}, {"service", oddItems.appending(there).appending(there)}, {"none", oddItems}}},
      {"ios_docs", oddItems},
      {"others", Array({there})}};
  const Snapshot expected = afterReply(reported(), with(neutral, "outside_services", clean));
  EXPECT_NE(expected.at(storePath("batchEventQueue")).find(R"({"outside_services":["service"]})"), std::string::npos);
  expectSame(afterReply(reported(), with(neutral, "outside_services", odd)), expected);
}

TEST(InitReply, ManySettingsAtOnceAreEachTakenForThemselves) {
  Value flags = neutralFlags;
  for (int number = 0; number < 10000; ++number) flags = with(flags, "unknown " + std::to_string(number), oddItems);
  flags = with(flags, "mlinit_wait", "120");
  Snapshot expected = afterReply(reported(), neutral);
  put(expected, storePath("mlinitWait"), 120);
  expectSame(afterReply(reported(), with(neutral, "flags", flags)), expected);
}

/// The other replies: whatever they are, the tracker lives on.
TEST(Replies, OfAnyKindDoNoHarm) {
  for (const Value& value : wrongValues()) {
    SCOPED_TRACE(traceOf("reply", value));
    Phone phone;
    const auto tracker =
        phone.construct({{"marluneAppId", "demo"}, {"retrieveAttribution", true}, {"enableLogging", true}});
    tracker->MarluneRetrieveAttribution(value);
    tracker->MarluneInitialResult(value);
    tracker->iAdAttributionData(value, true);
    tracker->currentLocationUpdate(value);
    tracker->MarluneInitResult(value);
    for (const std::string_view member : {"success", "data", "retry", "attribution"}) {
      tracker->MarluneRetrieveAttribution(with(Dictionary(), member, value));
      tracker->MarluneRetrieveAttribution({{"success", 1}, {"data", with(Dictionary(), member, value)}});
      tracker->MarluneRetrieveAttribution({{"success", value}, {"data", Value{{"retry", -1}, {"attribution", value}}}});
    }
    for (const std::string_view member :
         {"attributionDetails", "iAdAttribution", "appPurchaseDate", "iAdImpressionDate"}) {
      tracker->iAdAttributionData(with(Dictionary(), member, value), false);
    }
    for (const std::string_view member : {"latitude", "longitude", "accuracy"}) {
      tracker->currentLocationUpdate(with(Dictionary(), member, value));
    }
    phone.process.advance(100);
    EXPECT_NE(tracker->retrieveAttribution().kind(), Value::Kind::text);
    EXPECT_TRUE(phone.stored("networkQueue").isDictionary() || phone.stored("networkQueue").isNothing());
  }
}

}  // namespace
}  // namespace fliprugair
