// What a host app may get wrong in the options of a construction: nothing but the option's own entries may change.

#include <cmath>
#include <limits>
#include <optional>

#include "Fliprugair/core/Options.h"
#include "tracker/InitReplies.h"

namespace fliprugair {
namespace {

const std::string repairedUtf8 = "a\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBDz";

/// What has no text in it.
const std::vector<Value>& valuesThatAreNoText() {
  static const std::vector<Value> values = [] {
    std::vector<Value> all = wrongValues([](const Value& value) { return !value.isText(); });
    all.insert(all.end(), {Value(), std::numeric_limits<double>::infinity(), Array({"demo"}), Array({Array({Array()})}),
                           Value{{"marluneAppId", "demo"}}});
    return all;
  }();
  return values;
}

struct TextCase {
  std::string given;
  std::string taken;
};

const std::vector<TextCase>& texts() {
  static const std::vector<TextCase> cases{
      {"", ""},
      {"x", "x"},
      {"0", "0"},
      {" ", " "},
      {std::string("a\0b", 3), std::string("a\0b", 3)},
      {"\xC3\xA9\xF0\x9F\x98\x80", "\xC3\xA9\xF0\x9F\x98\x80"},
      {"\"\\\n/{}", "\"\\\n/{}"},
      {invalidUtf8, repairedUtf8},
      {megabyteOf('x'), megabyteOf('x')},
  };
  return cases;
}

struct BooleanCase {
  Value given;
  bool expected;
};

const std::vector<BooleanCase>& booleans() {
  static const std::vector<BooleanCase> cases{
      {Value(), false},
      {true, true},
      {false, false},
      {0, false},
      {1, true},
      {-1, true},
      {2, true},
      {INT64_MAX, true},
      {INT64_MIN, true},
      {0.0, false},
      {-0.0, false},
      {0.1, true},
      {1e300, true},
      {-1e300, true},
      {"", false},
      {" ", false},
      {"0", false},
      {"1", true},
      {"yes", true},
      {"Yes", true},
      {"true", true},
      {"T", true},
      {"no", false},
      {"false", false},
      {" \t+007", true},
      {"-1", true},
      {"--1", false},
      {"x1", false},
      {"000", false},
      {megabyteOf('x'), false},
      {megabyteOf('0'), false},
      {megabyteOf('0') + "1", true},
      {"\xFF", false},
      {"\xFF"
       "1",
       false},
      {Array(), false},
      {Array({1}), false},
      {Array({true}), false},
      {Dictionary(), false},
      {Value{{"YES", true}}, false},
  };
  return cases;
}

/// What a construction with `options` leaves in a new device.
Snapshot constructed(const Value& options) {
  Phone phone;
  const auto tracker = phone.construct(options);
  Snapshot snapshot = snapshotOf(phone);
  put(snapshot, "constructed", tracker != nullptr);
  if (tracker != nullptr) put(snapshot, "customIdString", tracker->customIdString());
  return snapshot;
}

const Value demo{{"marluneAppId", "demo"}};
const Value neutralPartner{{"partnerId", "partner"}, {"partnerName", "name"}};

/// The init request stands in the store and in the "send" event.
void putInRequest(Snapshot& snapshot, const std::string& path, const Value& value) {
  put(snapshot, storePath("INIT_PAYLOAD") + "/" + path, value);
  put(snapshot, "event send 1/payload/" + path, value);
}

/// Of an option that wants text: wrong kinds are as not given, text has the effect given.
void expectTextOption(std::string_view option, const Value& base,
                      const std::function<void(Snapshot&, const std::string& taken)>& effect) {
  const Snapshot without = constructed(base);
  for (const Value& value : valuesThatAreNoText()) {
    SCOPED_TRACE(traceOf(option, value));
    expectSame(constructed(with(base, option, value)), without);
  }
  for (const auto& [given, taken] : texts()) {
    SCOPED_TRACE(traceOf(option, given));
    Snapshot expected = without;
    effect(expected, taken);
    expectSame(constructed(with(base, option, given)), expected);
  }
}

void expectBooleanOption(std::string_view option, const std::function<void(Snapshot&)>& effectOfYes) {
  const Snapshot no = constructed(demo);
  Snapshot yes = no;
  effectOfYes(yes);
  for (const auto& [given, expected] : booleans()) {
    SCOPED_TRACE(traceOf(option, given));
    expectSame(constructed(with(demo, option, given)), expected ? yes : no);
  }
}

TEST(Options, ApplicationIdentifierIsTakenAsTextOrNotAtAll) {
  expectTextOption("marluneAppId", neutralPartner, [](Snapshot& expected, const std::string& taken) {
    put(expected, storePath("appId"), taken);
    putInRequest(expected, "marlune_app_id", taken);
    putInRequest(expected, "data_orig/marlune_app_id", taken);
  });
}

TEST(Options, ApplicationIdentifierOfAnotherKindIsNoIdentity) {
  Snapshot failed = constructed(Dictionary());
  EXPECT_EQ(failed["constructed"], "false");
  for (const Value& value : valuesThatAreNoText()) {
    SCOPED_TRACE(traceOf("marluneAppId", value));
    expectSame(constructed({{"marluneAppId", value}}), failed);
  }
}

TEST(Options, PartnerIdentifierIsTakenAsTextOrNotAtAll) {
  expectTextOption("partnerId", demo, [](Snapshot& expected, const std::string& taken) {
    putInRequest(expected, "data/partner_id", taken);
  });
}

TEST(Options, PartnerNameIsTakenAsTextOrNotAtAll) {
  expectTextOption("partnerName", demo, [](Snapshot& expected, const std::string& taken) {
    putInRequest(expected, "data/partner_name", taken);
  });
}

TEST(Options, HalfAPartnerIsNoIdentity) {
  const Snapshot failed = constructed(Dictionary());
  for (const std::string_view half : {"partnerId", "partnerName"}) {
    const std::string_view other = half == "partnerId" ? "partnerName" : "partnerId";
    for (const Value& value : valuesThatAreNoText()) {
      SCOPED_TRACE(traceOf(other, value));
      expectSame(constructed(with(with(Dictionary(), half, "text"), other, value)), failed);
    }
    expectSame(constructed(with(with(Dictionary(), half, "text"), other, "")), failed);
  }
}

TEST(Options, HostnameIsTakenAsTextOrNotAtAll) {
  expectTextOption("trackerHostname", demo, [](Snapshot& expected, const std::string& taken) {
    put(expected, "state/trackerHostname", taken);
    put(expected, "event send 1/hostname", taken);
  });
}

TEST(Options, CurrencyIsTakenAsTextThatIsNotEmpty) {
  expectTextOption("currency", demo, [](Snapshot& expected, const std::string& taken) {
    const Value code = taken.empty() ? "usd" : taken;
    put(expected, storePath("currency"), code);
    putInRequest(expected, "data/currency", code);
    putInRequest(expected, "data_orig/currency", code);
  });
}

TEST(Options, VersionExtensionIsTakenAsTextOrNotAtAll) {
  expectTextOption("versionExtension", demo, [](Snapshot& expected, const std::string& taken) {
    put(expected, "state/sdkVersion", "ios-20160921" + taken);
    putInRequest(expected, "sdk_version", "ios-20160921" + taken);
  });
}

TEST(Options, CustomIdentifierIsTakenAsTextOrNotAtAll) {
  expectTextOption("customIdString", demo,
                   [](Snapshot& expected, const std::string& taken) { put(expected, "customIdString", taken); });
}

TEST(Options, IdentityLinkIsTakenAsADictionaryOrNotAtAll) {
  const Snapshot without = constructed(demo);
  std::vector<Value> values = valuesThatAreNoText();
  for (const TextCase& text : texts()) values.emplace_back(text.given);
  values.push_back(
      Value{{"user", Array({1, Value(), 1e300, invalidUtf8})}, {"", ""}, {megabyteOf('k'), megabyteOf('v')}});
  for (const Value& value : values) {
    SCOPED_TRACE(traceOf("identityLink", value));
    Snapshot expected = without;
    if (value.isDictionary()) put(expected, storePath("initialIdentityLink"), value);
    expectSame(constructed(with(demo, "identityLink", value)), expected);
  }
}

TEST(Options, AnIdentityLinkThatNestsTooDeepIsNone) {
  Value link{{"level", 1}};
  for (int level = 0; level < 500; ++level) link = Value{{"inner", link}};
  expectSame(constructed(with(demo, "identityLink", link)), constructed(demo));
}

TEST(Options, LimitAdTrackingIsReadAsABoolean) {
  expectBooleanOption("limitAdTracking", [](Snapshot& yes) { put(yes, storePath("app_limit_tracking"), true); });
}

TEST(Options, NewUserIsReadAsABoolean) {
  expectBooleanOption("isNewUser", [](Snapshot& yes) { put(yes, "state/_isNewUser", true); });
}

TEST(Options, LoggingIsReadAsABoolean) {
  expectBooleanOption("enableLogging", [](Snapshot& yes) {
    put(yes, "state/_loggingEnabled", true);
    put(yes, "event send 1/logging", true);
  });
}

TEST(Options, TheWishForAttributionIsReadAsABoolean) {
  expectBooleanOption("retrieveAttribution", [](Snapshot& yes) { put(yes, storePath("requestAttribution"), true); });
}

TEST(Options, TheAnonymousIdentifierIsReadAsABoolean) {
  expectBooleanOption("generateAnonymousMarluneDeviceId",
                      [](Snapshot& yes) { putInRequest(yes, "data/idfv", nullptr); });
}

TEST(Options, UnknownKeysChangeNothing) {
  const Snapshot without = constructed(demo);
  for (const std::string& key :
       {std::string(), std::string("MarluneAppId"), std::string("logging"), invalidUtf8, megabyteOf('k')}) {
    expectSame(constructed(with(demo, key, true)), without);
  }
}

TEST(Options, UnknownKeysAloneAreSpokenOf) {
  const Value given{{"marluneAppId", "demo"}, {"hostname", "x"}, {"versionExtension", "y"}};
  std::vector<std::string> lines;
  Options::adviseOn(given.dictionary(), [&](std::string_view line) { lines.emplace_back(line); });
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_NE(lines[0].find("\"hostname\""), std::string::npos);
}

TEST(Options, ThatAreNoDictionaryAreAFailedStart) {
  const Snapshot failed = constructed(Dictionary());
  EXPECT_EQ(failed.count(storePath("requestAttribution")), 1U);
  EXPECT_EQ(failed.count(storePath("appId")), 0U);
  std::vector<Value> values = valuesThatAreNoText();
  for (const TextCase& text : texts()) values.emplace_back(text.given);
  for (const Value& value : values) {
    if (value.isDictionary()) continue;
    SCOPED_TRACE(traceOf("options", value));
    expectSame(constructed(value), failed);
  }
}

}  // namespace
}  // namespace fliprugair
