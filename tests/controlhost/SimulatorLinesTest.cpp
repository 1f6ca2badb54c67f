// Each line is run in the simulator, and what its tracker then sends is compared with what the line was made from.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform/json/RapidJSONSerialization.h"
#include "tools/controlhost/SimulatorLines.h"
#include "tools/sim/Simulator.h"

namespace fliprugair::controlhost {
namespace {

std::string textOf(const Value& value) { return RapidJSONSerialization().textOfAny(value); }

/// A simulator that keeps the records which its trackers send.
class Sender {
 public:
  void run(const std::string& command) { note_ += simulator_.run(command, ++number_); }

  void runAll(const std::string& commands) {
    std::istringstream lines(commands);
    for (std::string line; std::getline(lines, line);) run(line);
  }

  const std::vector<Value>& sent() const { return sent_; }
  /// Why commands did nothing; "" when all did something.
  const std::string& note() const { return note_; }

 private:
  void look(const std::string& line) {
    const Dictionary event = RapidJSONSerialization().value(line).value_or(Value()).dictionary();
    const Value payload = event["payload"];
    if (event["event"] != Value("send")) return;
    if (payload.isDictionary()) sent_.push_back(payload);
    for (const Value& record : payload.array()) sent_.push_back(record);
  }

  std::uint64_t number_ = 0;
  std::string note_;
  std::vector<Value> sent_;
  sim::Simulator simulator_{[this](const std::string& line) { look(line); }, 1};
};

Dictionary sorted(const Dictionary& members) {
  std::map<std::string, Value> values;
  for (const Dictionary::Entry& entry : members.entries()) values[entry.key()] = entry.value;
  return Dictionary(std::vector<std::pair<std::string, Value>>(values.begin(), values.end()));
}

/// What a record says apart from the times; the identifiers and the version only where the lines make them again.
std::string essence(const Value& record, bool withEnvelope) {
  Dictionary members = record.dictionary();
  Dictionary data = members["data"].dictionary();
  for (const char* key : {"usertime", "uptime", "updelta", "last_post_time"}) data = data.removing(key);
  if (members.holds("data")) members = members.setting("data", sorted(data));
  if (!withEnvelope) {
    for (const char* key : {"marlune_app_id", "marlune_device_id", "sdk_version"}) members = members.removing(key);
  }
  return textOf(sorted(members));
}

const WireCheck& check() {
  static const WireCheck one;
  return one;
}

SimulatorLines linesFor(const Value& record) { return simulatorLines(record, check()); }

/// Runs the lines for `record` and demands that it is sent again.
void expectMadeAgain(const Value& record) {
  const SimulatorLines lines = linesFor(record);
  ASSERT_EQ(lines.reason, "") << textOf(record);
  Sender sender;
  const bool beginsAnew = lines.text.find(R"("do":"construct")") != std::string::npos;
  if (!beginsAnew)
    sender.runAll(
        "{\"do\":\"installed\"}\n"
        R"({"do":"construct","options":{"marluneAppId":"demo"}})");
  sender.runAll(lines.text);
  sender.run(R"({"do":"advance","seconds":60})");
  EXPECT_EQ(sender.note(), "") << lines.text;
  std::vector<std::string> sent;
  for (const Value& one : sender.sent()) sent.push_back(essence(one, beginsAnew));
  const std::string wanted = essence(record, beginsAnew);
  EXPECT_GT(std::ranges::count(sent, wanted), 0) << wanted << "\nis not among\n"
                                                 << testing::PrintToString(sent) << "\nafter\n"
                                                 << lines.text;
}

/// A record as a tracker of version "ios-20160921" sends it.
Value recordOf(const char* action, const Value& data) {
  const std::string kind = action;
  Dictionary record = Value{{"marlune_device_id", "MI1"}, {"marlune_app_id", "demo"}, {"action", action}}.dictionary();
  if (kind != "get_attribution") record = record.setting("data", data);
  if (kind == "identityLink" || kind == "spatial" || kind == "deeplink") return record;
  return record.setting("sdk_version", "ios-20160921").setting("sdk_protocol", "4");
}

Value eventOf(const Value& more, const Value& name = "level") {
  Dictionary data =
      Value{{"usertime", "1700000000"}, {"uptime", "7"}, {"event_name", name}, {"event_data", "7"}, {"currency", "usd"}}
          .dictionary();
  for (const Dictionary::Entry& entry : more.dictionary().entries()) {
    data = entry.value.isNull() ? data.removing(entry.key()) : data.setting(entry.key(), entry.value);
  }
  return recordOf("event", data);
}

TEST(SimulatorLines, ACallIsOneLine) {
  EXPECT_EQ(linesFor(eventOf({})).text, R"({"do":"call","method":"trackEvent::","args":["level","7"]})");
  EXPECT_EQ(linesFor(recordOf("identityLink", {{"crm", 5}})).text,
            R"({"do":"call","method":"identityLinkEvent:","args":[{"crm":5}]})");
}

TEST(SimulatorLines, SendAnEventOfEachShapeAgain) {
  expectMadeAgain(eventOf({}));
  expectMadeAgain(eventOf({}, ""));
  expectMadeAgain(eventOf({{"event_data", nullptr}, {"currency", nullptr}}));
  expectMadeAgain(eventOf({{"receipt", "AAAA"}}));
  expectMadeAgain(eventOf({{"event_standard", 1}, {"event_data", R"({"price":1.50,"list":[ 1, 2 ]})"}}));
  expectMadeAgain(eventOf({{"event_standard", 1}, {"event_data", "no object"}}));
  expectMadeAgain(eventOf({{"event_standard", 1}, {"event_data", nullptr}, {"currency", nullptr}}));
  expectMadeAgain(eventOf({{"currency", "EUR"}}));
  expectMadeAgain(eventOf({{"currency", nullptr}}));
  expectMadeAgain(eventOf({{"currency", 5}}));
  // The place stands in front of what comes behind it.
  expectMadeAgain(eventOf({{"geo_lat", ""}}));
  expectMadeAgain(eventOf({{"geo_lat", "52.5"}, {"geo_long", "13.4"}, {"updelta", "9"}}));
}

TEST(SimulatorLines, SendWhatBelongsToAnEventAgain) {
  expectMadeAgain(recordOf("identityLink", {{"crm", "77"}, {"deep", Value{{"list", Array{1, 2.5, nullptr}}}}}));
  expectMadeAgain(recordOf("identityLink", Dictionary()));
  for (const char* uri : {"shop://a?b=c&d", ""}) {
    expectMadeAgain(recordOf(
        "deeplink", {{"uri", uri}, {"source_app", "com.example.mail"}, {"usertime", "1700000000"}, {"uptime", "7"}}));
  }
  for (const char* x : {"1.500000", "-0.000000", "-2.000000", "0.100000", "16777216.000000", "inf", "-inf"}) {
    expectMadeAgain(recordOf("spatial", {{"event_name", "jump"},
                                         {"x", x},
                                         {"y", "0.333333"},
                                         {"z", "340282346638528859811704183484516925440.000000"},
                                         {"usertime", "1700000000"}}));
  }
  for (const char* state : {"resume", "pause"}) {
    expectMadeAgain(recordOf("session", {{"state", state}, {"usertime", "1700000000"}, {"uptime", "7"}}));
  }
}

TEST(SimulatorLines, ChangeThePropertiesOfADeviceAgain) {
  for (const char* flag : {"app_limit_tracking", "device_limit_tracking"}) {
    expectMadeAgain(recordOf("update", {{flag, "1"}}));
    expectMadeAgain(recordOf("update", {{flag, "0"}}));
  }
  expectMadeAgain(recordOf("update", {{"app_short_string", "2.0"}, {"app_version", "200"}}));
  expectMadeAgain(recordOf("update", {{"app_short_string", "1.0"}}));
  expectMadeAgain(recordOf("update", {{"language", ""}}));
  expectMadeAgain(recordOf("update", {{"language", "en"}}));
  expectMadeAgain(recordOf("update", {{"os_version", "Some System 12.3.1"}}));
  expectMadeAgain(recordOf("update", {{"idfa", "01234567-89AB-4CDE-8F01-23456789ABCD"}}));
  expectMadeAgain(recordOf("update", {{"app_short_string", "1.0"},
                                      {"app_version", "1"},
                                      {"is_genuine", "1"},
                                      {"language", "de"},
                                      {"os_version", "Linux 6.1"}}));
}

TEST(SimulatorLines, FindAPlaceAndServicesAgain) {
  expectMadeAgain(recordOf("update", {{"location", Value{{"lat", 52.5}, {"lon", -13}, {"acc", 10}}}}));
  expectMadeAgain(recordOf("update", {{"outside_services", Array{"One", "Two"}}}));
  expectMadeAgain(recordOf("update", {{"outside_services", Array{"One", "Two", "One"}}}));
}

Value initOf(const Value& more, const Value& first = {}) {
  Dictionary data = Value{{"partner_id", ""},
                          {"partner_name", ""},
                          {"package_name", "com.example.shop"},
                          {"platform", "ios"},
                          {"session_tracking", "full"},
                          {"currency", "usd"},
                          {"os_version", "Linux 6.1.0"},
                          {"idfv", ""},
                          {"idfa", "01234567-89AB-4CDE-8F01-23456789ABCD"}}
                        .dictionary();
  for (const Dictionary::Entry& entry : more.dictionary().entries()) {
    data = entry.value.isNull() ? data.removing(entry.key()) : data.setting(entry.key(), entry.value);
  }
  Dictionary before = Value{
      {"marlune_device_id", "MI0"},
      {"marlune_app_id", "demo"},
      {"session_tracking", "full"},
      {"currency", "usd"}}.dictionary();
  for (const Dictionary::Entry& entry : first.dictionary().entries()) {
    before = before.setting(entry.key(), entry.value);
  }
  return recordOf("init", data).dictionary().setting("data_orig", before);
}

TEST(SimulatorLines, AskForSettingsAgain) {
  expectMadeAgain(initOf({}));
  expectMadeAgain(initOf({{"idfv", nullptr}, {"session_tracking", "none"}, {"currency", "EUR"}}));
  expectMadeAgain(initOf({{"idfa", nullptr}, {"session_tracking", ""}}, {{"marlune_app_id", "other"}}));
  expectMadeAgain(initOf({{"idfv", nullptr}, {"idfa", nullptr}, {"os_version", "iOS 5.1"}}));
  const Value partner = initOf({{"partner_id", "p"}, {"partner_name", "n"}}, {{"marlune_app_id", ""}});
  expectMadeAgain(partner.dictionary().setting("marlune_app_id", ""));
  expectMadeAgain(initOf({}).dictionary().setting("sdk_version", "ios-20160921-plugin-3"));
}

TEST(SimulatorLines, AskWhereTheInstallationCameFromAgain) { expectMadeAgain(recordOf("get_attribution", {})); }

TEST(SimulatorLines, ReportAnInstallationAgain) {
  const Value all{{"device", "x86_64"},
                  {"language", "de"},
                  {"package_name", "com.example.shop"},
                  {"app_version", "7"},
                  {"app_short_string", "0.7"},
                  {"os_version", "Some System 9.3"},
                  {"app_limit_tracking", "1"},
                  {"new_user", "1"},
                  {"dev_id_strategy", "1"},
                  {"is_genuine", "1"},
                  {"currency", "EUR"},
                  {"usertime", "1700000000"},
                  {"uptime", "7"},
                  {"fb_attribution_id", "fb"},
                  {"device_limit_tracking", "1"},
                  {"idfv", ""},
                  {"idfa", "01234567-89AB-4CDE-8F01-23456789ABCD"},
                  {"identity_link", Value{{"crm", 5}}},
                  {"disp_w", "1080"},
                  {"disp_h", "1920"},
                  {"receipt", "AAECAw=="},
                  {"screen_brightness", 0.25},
                  {"network_conn_type", "cellular"},
                  {"device_orientation", "landscape"},
                  {"custom_id", "c"},
                  {"iad_attribution_details", Value{{"v", 1}}},
                  {"app_purchase_date", "2016"}};
  expectMadeAgain(recordOf("initial", all));
  Dictionary bare = all.dictionary().setting("network_conn_type", "wifi").setting("fb_attribution_id", "");
  for (const char* key : {"idfv", "identity_link", "disp_w", "disp_h", "receipt", "screen_brightness", "custom_id",
                          "device_orientation", "iad_attribution_details", "app_purchase_date"}) {
    bare = bare.removing(key);
  }
  expectMadeAgain(recordOf("initial", bare));
  for (const char* key : {"network_conn_type", "fb_attribution_id", "idfa"}) bare = bare.removing(key);
  expectMadeAgain(recordOf("initial", bare.setting("os_version", "iOS 7.0.6")));
  expectMadeAgain(recordOf("initial", bare.setting("os_version", "Linux 6.1.0-33-amd64")));
  expectMadeAgain(recordOf("initial", bare.removing("device_limit_tracking").setting("os_version", "System nan")));
  expectMadeAgain(recordOf("initial", bare.removing("device_limit_tracking").setting("os_version", "iOS 5.1")));
}

/// What stands behind "A tracker does not send this: ", or else the whole reason.
std::string reasonFor(const Value& record) {
  const SimulatorLines lines = linesFor(record);
  EXPECT_EQ(lines.text, "") << textOf(record);
  const std::string begin = "A tracker does not send this: ";
  return lines.reason.starts_with(begin) ? lines.reason.substr(begin.size()) : lines.reason;
}

TEST(SimulatorLines, SayWhyThereAreNoneForWhatNoTrackerSends) {
  EXPECT_EQ(reasonFor(7), "It is no object, and a tracker sends nothing else.");
  EXPECT_EQ(reasonFor(eventOf({}, 5)),
            "/data/event_name is the number 5, and should be a text. Send it as text, in quotes.");
  EXPECT_EQ(reasonFor(eventOf({{"event_standard", 1}, {"receipt", "AAAA"}})),
            "A tracker sends no receipt with a standard event.");
  EXPECT_EQ(reasonFor(recordOf("update", {{"is_genuine", "0"}})), "it takes every system for genuine.");
  EXPECT_EQ(reasonFor(recordOf("update", {{"outside_services", Array{"One", "One", "One"}}})),
            "it finds a service twice at most.");
  EXPECT_EQ(reasonFor(recordOf("identityLink", {{"$url", "x"}})),
            "The simulator takes an object with that one member for something else.");
  EXPECT_EQ(reasonFor(initOf({}, {{"marlune_app_id", ""}})), "it starts with an application or a partner.");
  EXPECT_EQ(reasonFor(initOf({{"os_version", "iOS 5.1"}})), "it reads identifiers from version 6 of a system on.");
}

TEST(SimulatorLines, MendWhatIsWrongBesideWhatARecordSays) {
  EXPECT_EQ(linesFor(eventOf({{"uptime", 7}, {"usertime", nullptr}})).text, linesFor(eventOf({})).text);
  EXPECT_EQ(linesFor(Value{{"action", "event"}, {"data", eventOf({}).dictionary()["data"]}}).text,
            linesFor(eventOf({})).text);
}

TEST(SimulatorLines, SendAgainWhatTheScenariosSend) {
  std::size_t records = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(FLIPRUGAIR_SCENARIOS)) {
    if (entry.path().extension() != ".scenario") continue;
    SCOPED_TRACE(entry.path().string());
    Sender sender;
    std::ifstream script(entry.path());
    for (std::string line; std::getline(script, line);) {
      if (line.starts_with("{\"do\"")) sender.run(line);
    }
    for (const Value& record : sender.sent()) {
      if (!check().findings(record).empty() && !check().findings(Array{record}).empty()) continue;  // a script's own
      ++records;
      expectMadeAgain(record);
    }
  }
  EXPECT_GT(records, 300u);
}

}  // namespace
}  // namespace fliprugair::controlhost
