// What a control host may set: nothing but a setting's own entries may change.

#include <algorithm>

#ifdef FLIPRUGAIR_WIRE_CHECKED
#include "tools/controlhost/InitSettings.h"
#endif
#include "tracker/InitReplies.h"

namespace fliprugair {
namespace {

TEST(ServerSettings, IdentifiersAreTakenAsTextThatIsNotEmpty) {
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

TEST(ServerSettings, TheFirstDeviceIdentifierIsFilledInOnlyWhenItIsEmpty) {
  for (const Value& first : {Value(""), Value("first"), Value(7), Value(Array())}) {
    SCOPED_TRACE(traceOf("origDeviceId", first));
    Setting setting = reported();
    setting.stored = with(setting.stored, "origDeviceId", first);
    setting.isOdd = true;  // the init request says which it was
    Snapshot expected = afterReply(setting, neutral);
    put(expected, storePath("deviceId"), "given");
    if (first == Value("")) put(expected, storePath("origDeviceId"), "given");
    expectSame(afterReply(setting, withFlag("marlune_device_id", "given")), expected);
  }
}

TEST(ServerSettings, NumericSettingsAreLimitedWhateverTheyAre) {
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

TEST(ServerSettings, TheAttributionWaitIsLimitedWhileAttributionIsWanted) {
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

TEST(ServerSettings, IdentifierUpdatesAreReadAsABoolean) {
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

TEST(ServerSettings, ResendingTheReportIsReadAsABooleanAndAbsentIsYes) {
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

TEST(ServerSettings, ListsOfAnotherKindChangeNothing) {
  const Snapshot expected = afterReply(reported(), neutral);
  for (const std::string_view name : {"blacklist", "eventname_blacklist", "whitelist"}) {
    for (const Value& value : wrongValues([](const Value& value) { return !value.isArray(); })) {
      SCOPED_TRACE(traceOf(name, value));
      expectSame(afterReply(reported(), with(neutral, name, value)), expected);
    }
  }
}

TEST(ServerSettings, TheBlacklistIsTakenWhateverIsInIt) {
  struct Case {
    Array list;
    bool vendor;
    bool advertising;
  };
  for (const auto& [list, vendor, advertising] :
       {Case{Array(), false, false}, Case{oddItems(), false, false}, Case{oddItems().appending("idfv"), true, false},
        Case{oddItems().appending("idfa").appending("idfa"), false, true},
        Case{Array({"IDFA", "idfa ", "idf"}), false, false}}) {
    Snapshot expected = afterReply(reported(), neutral);
    put(expected, "state/disabledDeviceTypes", list);
    put(expected, storePath("idfvBlacklisted"), vendor);
    put(expected, storePath("idfaBlacklisted"), advertising);
    expectSame(afterReply(reported(), with(neutral, "blacklist", list)), expected);
  }
}

TEST(ServerSettings, TheEventNamesAreTakenWhateverIsInThem) {
  for (const Array& list : {Array(), oddItems(), oddItems().appending("level")}) {
    Snapshot expected = afterReply(reported(), neutral);
    put(expected, "state/blacklistedEventNames", list);
    put(expected, storePath("blacklistedEventNames"), list);
    expectSame(afterReply(reported(), with(neutral, "eventname_blacklist", list)), expected);
  }
}

TEST(ServerSettings, OnlyTheWordLocationTurnsLocationReportsOn) {
  const Snapshot off = afterReply(reported(), neutral);
  expectSame(afterReply(reported(), with(neutral, "whitelist", Array())), off);
  expectSame(afterReply(reported(), with(neutral, "whitelist", oddItems())), off);
  const Snapshot on = afterReply(reported(), with(neutral, "whitelist", Array({"location"})));
  EXPECT_EQ(on.at("state/reportLocation"), "true");
  expectSame(afterReply(reported(), with(neutral, "whitelist", oddItems().appending("location"))), on);
}

TEST(ServerSettings, LocationSettingsOfAnotherKindKeepTheirDefault) {
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

#ifdef FLIPRUGAIR_WIRE_CHECKED

/// Where what a tracker has adopted of a numeric setting is seen.
const std::map<std::string, std::string>& placesOfNumbers() {
  static const std::map<std::string, std::string> places = {
      {"mlinit_wait", storePath("mlinitWait")},
      {"mltracker_wait", storePath("mltrackerWait")},
      {"iad_attribution_attempts", storePath("iAdAttributionAttempts")},
      {"iad_attribution_wait", storePath("iAdAttributionWait")},
      {"iad_retry_wait", storePath("iAdRetryWait")},
      {"getattribution_wait", storePath("attributionWait")},
      {"location_accuracy", "state/location_accuracy"},
      {"location_timeout", "state/location_timeout"},
      {"location_staleness", "state/location_staleness"},
  };
  return places;
}

TEST(ServerSettings, EachNumberBecomesWhatTheControlHostSays) {
  Setting wanting = reported();
  wanting.options = with(wanting.options, "retrieveAttribution", true);
  const Value locating = with(neutral, "whitelist", Array({"location"}));
  const Snapshot without = afterReply(wanting, locating);
  std::size_t found = 0;
  for (const Value& setting : controlhost::initSettings()) {
    const Dictionary described = setting.dictionary();
    if (described["kind"].text() != "integer") continue;
    const std::string name = described["key"].text();
    SCOPED_TRACE(name);
    const std::string& place = placesOfNumbers().at(name);
    EXPECT_EQ(without.at(place), std::to_string(described["default"].integerValue()));
    std::vector<Value> given = {described["min"].integerValue() - 1, described["max"].integerValue() + 1};
    for (const NumericCase& one : numbers()) given.push_back(one.given);
    for (const Value& value : given) {
      if (value.isNull()) continue;
      SCOPED_TRACE(traceOf(name, value));
      const Value reply = withFlag(name, value, locating);
      std::string said;
      for (const Value& effect : controlhost::effectsOf(reply)) {
        if (effect.dictionary()["path"] == described["path"])
          said = std::to_string(effect.dictionary()["becomes"].integerValue());
      }
      EXPECT_EQ(afterReply(wanting, reply).at(place), said);
    }
    ++found;
  }
  EXPECT_EQ(found, placesOfNumbers().size());
}

#endif

TEST(ServerSettings, CurrencyIsStoredWhateverItIs) {
  for (const Value& value : wrongValues()) {
    SCOPED_TRACE(traceOf("currency", value));
    Snapshot expected = afterReply(reported(), neutral);
    put(expected, storePath("currency"), value);
    expectSame(afterReply(reported(), withFlag("currency", value)), expected);
  }
}

TEST(ServerSettings, SessionTrackingKnowsTwoWords) {
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

TEST(ServerSettings, OutsideServicesOfAnotherKindFindNothing) {
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

TEST(ServerSettings, OutsideServicesAreFoundAmongAnything) {
  const std::string_view there = "com.marlune.MarluneTracker.deviceId";
  const Value clean{{"ios_nsud", Value{{"service", Array({there})}}}};
  const Value odd{
      {"ios_nsud",
       Value{{"bare", there}, {"service", oddItems().appending(there).appending(there)}, {"none", oddItems()}}},
      {"ios_docs", oddItems()},
      {"others", Array({there})}};
  const Snapshot expected = afterReply(reported(), with(neutral, "outside_services", clean));
  EXPECT_NE(expected.at(storePath("batchEventQueue")).find(R"({"outside_services":["service"]})"), std::string::npos);
  expectSame(afterReply(reported(), with(neutral, "outside_services", odd)), expected);
}

TEST(ServerSettings, ManySettingsAtOnceAreEachTakenForThemselves) {
  Value flags = neutralFlags;
  for (int number = 0; number < 10000; ++number) flags = with(flags, "unknown " + std::to_string(number), oddItems());
  flags = with(flags, "mlinit_wait", "120");
  Snapshot expected = afterReply(reported(), neutral);
  put(expected, storePath("mlinitWait"), 120);
  expectSame(afterReply(reported(), with(neutral, "flags", flags)), expected);
}

}  // namespace
}  // namespace fliprugair
