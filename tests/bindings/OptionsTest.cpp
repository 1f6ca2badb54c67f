#include <gtest/gtest.h>

#include "bindings/c/Options.h"
#include "platform/json/RapidJSONSerialization.h"

namespace fliprugair {
namespace {

LinuxOptions from(const std::string& json) { return optionsOf(RapidJSONSerialization().value(json)->dictionary()); }

std::string refusalOf(const std::string& json) {
  try {
    from(json);
  } catch (const std::invalid_argument& refused) {
    return refused.what();
  }
  return "";
}

TEST(OptionsInC, AreThoseOfThePlatform) {
  const LinuxOptions options = from(R"({
    "bundleIdentifier": "com.example", "shortVersion": "1.2", "version": "12", "receiptPath": "/r", "mainThread": "host",
    "backgroundTaskTime": 1.5, "advises": false, "storePath": "/s", "durability": "powerCut",
    "unreadableStore": "isJoined", "mostWaitingRequests": 7, "documentsFolder": "/d", "caFile": "/c", "proxy": "p",
    "loopbackScheme": "https", "connectTimeout": 2, "requestTimeout": 0.25, "requestsAtATime": 3,
    "allowControlHostFromEnvironment": true, "gpsdHost": "127.0.0.1", "gpsdPort": "1"})");
  EXPECT_EQ(options.bundleIdentifier, "com.example");
  EXPECT_EQ(options.shortVersion, "1.2");
  EXPECT_EQ(options.version, "12");
  EXPECT_EQ(options.receiptPath, "/r");
  EXPECT_EQ(options.mainThread, MainThread::host);
  EXPECT_EQ(options.backgroundTaskTime, std::chrono::milliseconds(1500));
  EXPECT_FALSE(options.advises);
  EXPECT_EQ(options.storePath, "/s");
  EXPECT_EQ(options.store.durability, StoreDurability::powerCut);
  EXPECT_EQ(options.store.unreadable, UnreadableStore::isJoined);
  EXPECT_EQ(options.mostWaitingRequests, 7u);
  EXPECT_EQ(options.documentsFolder, "/d");
  EXPECT_EQ(options.network.caFile, "/c");
  EXPECT_EQ(options.network.proxy, "p");
  EXPECT_EQ(options.network.loopbackScheme, LoopbackScheme::https);
  EXPECT_EQ(options.network.connectTimeout, std::chrono::seconds(2));
  EXPECT_EQ(options.network.timeout, std::chrono::milliseconds(250));
  EXPECT_EQ(options.network.requestsAtATime, 3u);
  EXPECT_TRUE(options.allowControlHostFromEnvironment);
  EXPECT_EQ(options.gpsdHost, "127.0.0.1");
  EXPECT_EQ(options.gpsdPort, "1");
}

TEST(OptionsInC, HaveWhatTheHostAppStates) {
  const HostFacts facts = from(R"({"facts": {
    "systemName": "Example", "systemVersion": "9", "hardware": "h", "foundationVersionNumber": 1000.5,
    "vendorIdentifier": "v", "advertisingIdentifier": "a", "advertisingTrackingEnabled": true,
    "preferredLanguages": ["fi", "sv"], "screen": {"width": 1080, "height": 1920, "brightness": 0.5},
    "statusBarOrientation": 3, "reachabilityFlags": 4294967295, "locationServicesEnabled": true,
    "locationAuthorizationStatus": 4, "userAgent": "u", "pasteboards": {"full": "text", "empty": null}}})")
                              .facts;
  EXPECT_EQ(facts.systemName, "Example");
  EXPECT_EQ(facts.systemVersion, "9");
  EXPECT_EQ(facts.hardware, "h");
  EXPECT_EQ(facts.foundationVersionNumber, 1000.5);
  EXPECT_EQ(facts.vendorIdentifier, "v");
  EXPECT_EQ(facts.advertisingIdentifier, "a");
  EXPECT_TRUE(facts.advertisingTrackingEnabled);
  EXPECT_EQ(facts.preferredLanguages, (std::vector<std::string>{"fi", "sv"}));
  ASSERT_TRUE(facts.screen);
  EXPECT_EQ(facts.screen->width, 1080);
  EXPECT_EQ(facts.screen->height, 1920);
  EXPECT_EQ(facts.screen->brightness, 0.5);
  EXPECT_EQ(facts.statusBarOrientation, 3);
  EXPECT_EQ(facts.reachabilityFlags, 0xFFFFFFFFu);
  EXPECT_TRUE(facts.locationServicesEnabled);
  EXPECT_EQ(facts.locationAuthorizationStatus, 4);
  EXPECT_EQ(facts.userAgent, "u");
  EXPECT_EQ(facts.pasteboards.at("full"), "text");
  EXPECT_EQ(facts.pasteboards.at("empty"), std::nullopt);
}

TEST(OptionsInC, AreRefusedByNameWhenTheyAreOfAnotherKind) {
  const std::pair<const char*, const char*> rows[] = {
      {R"({"version": 1})", R"(option "version" is a text)"},
      {R"({"advises": 1})", R"(option "advises" is true or false)"},
      {R"({"mainThread": "mine"})", R"(option "mainThread" is "own" or "host")"},
      {R"({"durability": "none"})", R"(option "durability" is "process" or "powerCut")"},
      {R"({"unreadableStore": ""})", R"(option "unreadableStore" is "isRefused" or "isJoined")"},
      {R"({"loopbackScheme": "ftp"})", R"(option "loopbackScheme" is "http" or "https")"},
      {R"({"backgroundTaskTime": -1})", R"(option "backgroundTaskTime" is from 0 to 3600 seconds)"},
      {R"({"connectTimeout": 1e300})", R"(option "connectTimeout" is from 0 to 3600 seconds)"},
      {R"({"requestTimeout": "1"})", R"(option "requestTimeout" is a number)"},
      {R"({"requestsAtATime": 9})", R"(option "requestsAtATime" is a whole number from 1 to 8)"},
      {R"({"mostWaitingRequests": 0})", R"(option "mostWaitingRequests" is a whole number from 1 on)"},
      {R"({"facts": []})", R"(option "facts" is an object)"},
      {R"({"facts": {"statusBarOrientation": 1e300}})",
       R"(option "statusBarOrientation" is a whole number from 0 to 4)"},
      {R"({"facts": {"reachabilityFlags": -1}})", R"(option "reachabilityFlags" is a whole number from 0 on)"},
      {R"({"facts": {"preferredLanguages": "fi"}})", R"(option "preferredLanguages" is a list of texts)"},
      {R"({"facts": {"preferredLanguages": [1]}})", R"(option "preferredLanguages" is a text)"},
      {R"({"facts": {"screen": {"depth": 1}}})", R"(option "depth" is not known; there are width, height, brightness)"},
      {R"({"facts": {"pasteboards": {"full": 1}}})", R"(option "full" is a text)"},
  };
  for (const auto& [json, refusal] : rows) EXPECT_EQ(refusalOf(json), refusal) << json;
}

TEST(OptionsInC, ThatThereAreNotAreRefusedWithThoseThatThereAre) {
  EXPECT_TRUE(refusalOf(R"({"storePaht": "x"})")
                  .starts_with(R"(option "storePaht" is not known; there are bundleIdentifier, )"));
}

}  // namespace
}  // namespace fliprugair
