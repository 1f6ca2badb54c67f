// What a script sets, reads and calls.

#include "Script.h"

namespace fliprugair::sim {
namespace {

TEST(Store, SetsThenRemovesThenGets) {
  Script script;
  const auto events = script.run(
      R"({"do":"store","get":["a","b","c","d"],"remove":["b"],"set":{"a":{"z":1,"y":true},"b":2,"c":null,"d":[1.5,"x",false]}})");
  ASSERT_EQ(inShort(events), (Lines{"store"}));
  EXPECT_EQ(events[0]["values"], Value({{"a", Value{{"z", 1}, {"y", true}}}, {"d", Array({1.5, "x", false})}}));
  EXPECT_TRUE(script.run(R"({"do":"store","set":{"a":null}})").empty());
  EXPECT_EQ(script.run(R"({"do":"store","get":"all"})").at(0)["values"], Value({{"d", Array({1.5, "x", false})}}));
  EXPECT_TRUE(script.run(R"({"do":"store"})").empty());
  EXPECT_EQ(script.run(R"({"do":"store","get":[]})").at(0)["values"], Value(Dictionary()));
}

TEST(DeviceFields, AreSetOneByOne) {
  Script script;
  script.run(R"({"do":"device","system_name":"tvOS","system_version":"10.1"})");
  script.run(R"({"do":"device","idfv":null})");
  const Dictionary data = named(script.construct(), "send").at(0)["payload"].dictionary()["data"].dictionary();
  EXPECT_EQ(data["os_version"], Value("tvOS 10.1"));
  EXPECT_EQ(data["idfv"], Value(""));
  EXPECT_EQ(data["idfa"], Value("66666666-7777-4888-9999-AAAAAAAAAAAA"));
  EXPECT_EQ(data["package_name"], Value("com.example.app"));
}

TEST(DeviceFields, ABundleIsReplacedAsAWhole) {
  Script script;
  script.run(R"({"do":"device","bundle":{"CFBundleVersion":"7"}})");
  const Dictionary data = named(script.construct(), "send").at(0)["payload"].dictionary()["data"].dictionary();
  EXPECT_EQ(data["package_name"], Value(""));
}

TEST(DeviceFields, DocumentsAreMerged) {
  Script script;
  // "YnBsaXN0MDA=" and "eA==" are no archives; which they are is not what is asked here
  script.run(R"({"do":"device","documents":{"one":"eA==","two":"eA=="}})");
  EXPECT_TRUE(script.run(R"({"do":"device","documents":{"one":null,"three":"eA=="}})").empty());
  script.construct();
  EXPECT_EQ(script.result("getFullFilename:", {"one"}), Value("/Documents/one"));
}

TEST(DeviceFields, ThatCannotBeUnderstoodChangeNoField) {
  Script script;
  EXPECT_THROW(script.run(R"({"do":"device","system_version":"10.1","orientation":"left"})"), CommandError);
  const Dictionary data = named(script.construct(), "send").at(0)["payload"].dictionary()["data"].dictionary();
  EXPECT_EQ(data["os_version"], Value("iOS 9.3"));
}

TEST(DeviceFields, ReachabilityHasThreeForms) {
  Script script;
  script.construct();
  struct Case {
    std::string_view given;
    bool network;
    bool cellular;
    bool wiFi;
  };
  for (const auto& [given, network, cellular, wiFi] :
       {Case{"2", true, false, true}, Case{"262146", true, true, false}, Case{"4", true, false, true},
        Case{"0", false, false, false}, Case{"262144", true, true, false}, Case{"null", false, false, false},
        Case{"\"unreadable\"", false, false, false}, Case{"4294967295", true, true, false}}) {
    script.run(R"({"do":"device","reachability":)" + std::string(given) + "}");
    EXPECT_EQ(script.result("networkConnectedBool"), Value(network)) << given;
    EXPECT_EQ(script.result("cellularConnectedBool"), Value(cellular)) << given;
    EXPECT_EQ(script.result("wiFiConnectedBool"), Value(wiFi)) << given;
  }
}

TEST(Selectors, ReturnWhatTheyAnswer) {
  Script script;
  script.construct();
  EXPECT_EQ(script.result("isOSGenuine"), Value(true));
  for (int orientation = -1; orientation < 6; ++orientation) {
    EXPECT_EQ(script.result("UIInterfaceOrientationIsLandscape", {orientation}),
              Value(orientation == 3 || orientation == 4));
  }
  EXPECT_EQ(script.result("getMarluneDeviceId").text().size(), 34U);
  EXPECT_TRUE(script.result("iAdAttributionManager").isNull());
  script.call("setIAdAttributionManager:", {true});
  EXPECT_EQ(script.result("iAdAttributionManager"), Value(true));
  script.call("setIAdAttributionManager:", {Value()});
  EXPECT_TRUE(script.result("iAdAttributionManager").isNull());
  script.call("setCustomIdString:", {"custom"});
  EXPECT_EQ(script.result("customIdString"), Value("custom"));
  EXPECT_EQ(script.result("isEventSending:", {"1.0"}), Value(false));
  script.store("eventsSending", {{"1.0", false}});
  EXPECT_EQ(script.result("isEventSending:", {"1.0"}), Value(true)) << "any value counts";
  EXPECT_EQ(script.result("swiftRetrieveAttribution"), Value(""));
}

TEST(Arguments, AURLAndStandardParametersAreObjects) {
  Script script;
  script.store("sendInitial", false);
  script.construct();
  script.call("sendDeepLink::", {Value{{"$url", "app://a/b"}}, "source"});
  script.call("swiftSendDeepLink::", {Value{{"$url", "app://c"}}, "source"});
  script.call("trackEventWithEventStandardParameters:",
              {Value{{"$standard", Value{{"name", "level"}, {"data", Value{{"z", "a/b"}, {"a", 1}}}}}}});
  const Array records = script.stored("batchEventQueue").array();
  ASSERT_EQ(records.size(), 3U);
  EXPECT_EQ(records[0].dictionary()["data"].dictionary()["uri"], Value("app://a/b"));
  EXPECT_EQ(records[1].dictionary()["data"].dictionary()["uri"], Value("app://c"));
  EXPECT_EQ(records[2].dictionary()["data"].dictionary()["event_name"], Value("level"));
  EXPECT_EQ(records[2].dictionary()["data"].dictionary()["event_data"], Value(R"({"z":"a/b","a":1})"));
  const auto lines =
      named(script.call("trackEventWithEventStandardParameters:",
                        {Value{{"$standard", Value{{"name", "level"}, {"data", Value()}, {"raises", "the reason"}}}}}),
            "log");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_TRUE(lines[0]["text"].text().ends_with("7d716099-1ff1-4cf5-baa4-5ea7490736be - the reason"));
}

TEST(Comments, AndBlankLinesAreSkipped) {
  std::vector<std::string> lines;
  Simulator simulator([&](const std::string& line) { lines.push_back(line); }, 1);
  for (const std::string_view line : {"", "   ", "\t", "\r", "# a comment", "#{\"do\":\"nothing\"}"})
    simulator.run(line, 1);
  EXPECT_TRUE(lines.empty());
  simulator.run("{\"do\":\"release\"}\r", 7);
  EXPECT_EQ(lines, (Lines{R"({"event":"done","line":7})"}));
}

}  // namespace
}  // namespace fliprugair::sim
