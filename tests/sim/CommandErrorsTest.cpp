// Commands that cannot be understood: exit status 2, and one message that names the line, what was found and what would
// have been right.

#include <algorithm>

#include "Child.h"
#include "Script.h"

namespace fliprugair::sim {
namespace {

struct Refused {
  std::string command;
  std::string found;   ///< how the message shows what was wrong
  std::string wanted;  ///< and what would have been right
};

/// Runs each command as the second line of a script of its own.
void expectRefused(const std::vector<Refused>& table) {
  for (const auto& [command, found, wanted] : table) {
    SCOPED_TRACE(command);
    const auto [status, output, errors] = outcomeOf("# first\n" + command + "\n{\"do\":\"release\"}\n");
    EXPECT_EQ(status, 2);
    EXPECT_EQ(output, "") << "nothing of it runs, nor anything behind it";
    EXPECT_EQ(std::ranges::count(errors, '\n'), 1) << errors;
    for (const std::string& part : {std::string("line 2"), found, wanted}) {
      EXPECT_NE(errors.find(part), std::string::npos) << "without " << part << ": " << errors;
    }
  }
}

TEST(CommandErrors, OfLinesThatAreNoCommand) {
  expectRefused({
      {"dance", R"("dance")", "JSON object"},
      {R"({"do":)", R"("{\"do\":")", "JSON object"},
      {R"({'do':'state'})", R"("{'do':'state'}")", "JSON object"},
      {R"({"do":"state"} {"do":"state"})", R"(} {)", "JSON object"},
      {R"({"do":"state"},)", R"(},")", "JSON object"},
      {R"({"do":"clock","now":1e400})", "1e400", "JSON object"},
      {std::string(100000, '['), "[[[[", "JSON object"},
      {"[]", "[]", "object"},
      {"\"state\"", "\"state\"", "object"},
      {"5", "5", "object"},
      {"null", "null", "object"},
      {"{}", "\"do\"", "text"},
      {R"({"do":5})", "5", "text"},
      {R"({"do":null})", "null", "text"},
      {R"({"Do":"state"})", "\"do\"", "text"},
      {R"({"do":"dance"})", "\"dance\"", "construct"},
      {R"({"do":"State"})", "\"State\"", "state"},
      {R"({"do":""})", "\"\"", "search_ad"},
  });
}

TEST(CommandErrors, OfLinesWithANULInThem) {
  expectRefused({{std::string("{\"do\":\"state\"}\0garbage", 22), "garbage", "NUL at column 15"}});
}

TEST(CommandErrors, NameTheColumnAtWhichALineIsNoJSON) {
  expectRefused({
      {"dance", "Invalid value", "at column 1;"},
      {R"({"do":)", "", "at column 7;"},
      {R"({'do':'state'})", "Missing a name for object member", "at column 2;"},
      {R"({"do":"state"} {"do":"state"})", "must not be followed by other values", "at column 16;"},
      {"{\"do\":\"\xC3\xA9\" \"x\"}", "Missing a comma", "at column 11;"},
      {std::string(100000, '['), "", "at column 100001;"},
      {std::string(600, '[') + std::string(600, ']'), "", "nested too deeply"},
  });
}

TEST(CommandErrors, SuggestWhatIsNearest) {
  expectRefused({
      {R"({"do":"rpely","request":1})", "\"rpely\"", R"(did you mean "reply"?)"},
      {R"({"do":"State"})", "\"State\"", R"(did you mean "state"?)"},
      {R"({"do":"instaled"})", "\"instaled\"", R"(did you mean "installed"?)"},
      {R"({"do":"advance","second":1})", "\"second\"", R"(did you mean "seconds"?)"},
      {R"({"do":"device","language":["en"]})", "\"language\"", R"(did you mean "languages"?)"},
      {R"({"do":"device","screen":{"hight":1}})", "\"hight\"", R"(did you mean "height"?)"},
      {R"({"do":"notify","name":"became-active"})", "\"became-active\"", R"(did you mean "did-become-active"?)"},
      {R"({"do":"delegate","kind":"Listening"})", "\"Listening\"", R"(did you mean "listening"?)"},
      {R"({"do":"call","method":"trackEvent","args":[]})", "\"trackEvent\"", R"(did you mean "trackEvent::"?)"},
      {R"({"do":"call","method":"trackEvents::","args":[]})", "\"trackEvents::\"", R"(did you mean "trackEvent::"?)"},
      {R"({"do":"call","method":"initWithMarluneAppID:","args":[]})", "", R"(did you mean "initWithMarluneAppId:"?)"},
  });
}

TEST(CommandErrors, SuggestNothingWhenNothingIsNear) {
  for (const std::string command : {R"({"do":"xyzzy"})", R"({"do":"device","color":"red"})",
                                    R"({"do":"call","method":"xyzzy","args":[]})", R"({"do":"state","of":1})"}) {
    EXPECT_EQ(outcomeOf(command).errors.find("did you mean"), std::string::npos) << command;
  }
}

TEST(CommandErrors, OfTimeCommands) {
  expectRefused({
      {R"({"do":"advance"})", "\"seconds\"", "a number"},
      {R"({"do":"advance","seconds":"5"})", "\"5\"", "a number"},
      {R"({"do":"advance","seconds":true})", "true", "a number"},
      {R"({"do":"advance","seconds":null})", "null", "a number"},
      {R"({"do":"advance","seconds":-1})", "-1", "from 0 to 1e20"},
      {R"({"do":"advance","seconds":-0.001})", "-0.001", "from 0 to 1e20"},
      {R"({"do":"advance","seconds":1e21})", "1e21", "from 0 to 1e20"},
      {R"({"do":"advance","seconds":1e400})", "", "JSON object"},
      {R"({"do":"advance","seconds":1,"minutes":2})", "\"minutes\"", "\"seconds\""},
      {R"({"do":"clock"})", "\"now\"", "a number"},
      {R"({"do":"clock","now":"noon"})", "\"noon\"", "a number"},
      {R"({"do":"clock","now":false})", "false", "a number"},
      {R"({"do":"clock","now":1,"zone":"UTC"})", "\"zone\"", "\"now\""},
  });
}

TEST(CommandErrors, OfTheStore) {
  expectRefused({
      {R"({"do":"store","set":[]})", "[]", "an object"},
      {R"({"do":"store","set":"all"})", "\"all\"", "an object"},
      {R"({"do":"store","set":null})", "null", "an object"},
      {R"({"do":"store","remove":"a"})", "\"a\"", "a list of texts"},
      {R"({"do":"store","remove":[1]})", "[1]", "a list of texts"},
      {R"({"do":"store","get":"some"})", "\"some\"", "a list of texts"},
      {R"({"do":"store","get":5})", "5", "a list of texts"},
      {R"({"do":"store","get":[null]})", "[null]", "a list of texts"},
      {R"({"do":"store","put":{}})", "\"put\"", "\"set\""},
  });
}

TEST(CommandErrors, OfTheStoreWriteNothing) {
  Script script;
  EXPECT_THROW(script.run(R"({"do":"store","set":{"a":1},"get":5})"), CommandError);
  EXPECT_THROW(script.run(R"({"do":"store","set":{"a":1},"remove":[1]})"), CommandError);
  EXPECT_EQ(script.run(R"({"do":"store","get":"all"})").at(0)["values"], Value(Dictionary()));
}

TEST(CommandErrors, OfConstructions) {
  expectRefused({
      {R"({"do":"construct","options":[]})", "[]", "an object or null"},
      {R"({"do":"construct","options":"demo"})", "\"demo\"", "an object or null"},
      {R"({"do":"construct","options":5})", "5", "an object or null"},
      {R"({"do":"construct","options":null,"keep":1})", "1", "true or false"},
      {R"({"do":"construct","options":null,"keep":null})", "null", "true or false"},
      {R"({"do":"construct","option":{}})", "\"option\"", "\"options\""},
  });
}

TEST(CommandErrors, OfConstructionsReleaseNothing) {
  Script script;
  script.construct();
  EXPECT_THROW(script.run(R"({"do":"construct","options":{"marluneAppId":"demo"},"keep":1})"), CommandError);
  EXPECT_THROW(script.call("initWithMarluneAppId:", {5}), CommandError);
  EXPECT_THROW(script.call("initWithMarluneAppId::", {"demo"}), CommandError);
  EXPECT_EQ(script.result("isOSGenuine"), Value(true));
}

TEST(CommandErrors, OfNotificationsAndTheDelegate) {
  expectRefused({
      {R"({"do":"notify"})", "\"name\"", "text"},
      {R"({"do":"notify","name":5})", "5", "text"},
      {R"({"do":"notify","name":"became-active"})", "\"became-active\"", "did-become-active"},
      {R"({"do":"notify","name":"did-become-active","times":2})", "\"times\"", "\"name\""},
      {R"({"do":"delegate"})", "\"kind\"", "text"},
      {R"({"do":"delegate","kind":null})", "null", "text"},
      {R"({"do":"delegate","kind":"loud"})", "\"loud\"", "listening, mute or none"},
      {R"({"do":"delegate","kind":"mute","of":1})", "\"of\"", "\"kind\""},
  });
}

TEST(CommandErrors, OfAnswers) {
  expectRefused({
      {R"({"do":"reply","body":{}})", "\"request\"", "a whole number"},
      {R"({"do":"reply","request":"1","body":{}})", "\"1\"", "a whole number"},
      {R"({"do":"reply","request":1.5,"body":{}})", "1.5", "a whole number"},
      {R"({"do":"reply","request":true,"body":{}})", "true", "a whole number"},
      {R"({"do":"reply","request":null,"body":{}})", "null", "a whole number"},
      {R"({"do":"reply","request":1,"body":{},"status":200})", "\"status\"", "\"body\""},
      {R"({"do":"fail"})", "\"request\"", "a whole number"},
      {R"({"do":"fail","request":[1]})", "[1]", "a whole number"},
      {R"({"do":"fail","request":1,"body":{}})", "\"body\"", "\"request\""},
      {R"({"do":"search_ad","details":5})", "5", "an object or null"},
      {R"({"do":"search_ad","details":[]})", "[]", "an object or null"},
      {R"({"do":"search_ad","details":null,"unknown":1})", "1", "true or false"},
      {R"({"do":"search_ad","detail":null})", "\"detail\"", "\"details\""},
      {R"({"do":"location"})", "\"fix\"", "an object"},
      {R"({"do":"location","fix":null})", "null", "an object"},
      {R"({"do":"location","fix":{"latitude":"north","longitude":1,"accuracy":1}})", "\"north\"", "a number"},
      {R"({"do":"location","fix":{"latitude":1,"longitude":true,"accuracy":1}})", "true", "a number"},
      {R"({"do":"location","fix":{"lat":1}})", "\"lat\"", "\"latitude\""},
      {R"({"do":"location","fix":{},"at":1})", "\"at\"", "\"fix\""},
      {R"({"do":"expire"})", "\"task\"", "a whole number"},
      {R"({"do":"expire","task":"1"})", "\"1\"", "a whole number"},
      {R"({"do":"expire","task":1,"now":true})", "\"now\"", "\"task\""},
  });
}

TEST(CommandErrors, OfCommandsThatTakeNothing) {
  for (const std::string command : {"release", "restart", "state", "installed"}) {
    expectRefused({{R"({"do":")" + command + R"(","now":true})", "\"now\"", "\"do\""},
                   {R"({"do":")" + command + R"(","tracker":null})", "\"tracker\"", "\"do\""}});
  }
}

TEST(CommandErrors, OfDeviceFields) {
  expectRefused({
      {R"({"do":"device","color":"red"})", "\"color\"", "system_name"},
      {R"({"do":"device","system_name":5})", "5", "text"},
      {R"({"do":"device","system_name":null})", "null", "text"},
      {R"({"do":"device","system_version":9.3})", "9.3", "text"},
      {R"({"do":"device","foundation_version":"1280"})", "\"1280\"", "a number"},
      {R"({"do":"device","foundation_version":true})", "true", "a number"},
      {R"({"do":"device","hardware":5})", "5", "text"},
      {R"({"do":"device","languages":"en"})", "\"en\"", "a list of texts"},
      {R"({"do":"device","languages":["en",5]})", "5", "a list of texts"},
      {R"({"do":"device","idfv":5})", "5", "text or null"},
      {R"({"do":"device","idfa":false})", "false", "text or null"},
      {R"({"do":"device","ad_tracking_enabled":1})", "1", "true or false"},
      {R"({"do":"device","screen":"big"})", "\"big\"", "an object or null"},
      {R"({"do":"device","screen":{"width":"1"}})", "\"1\"", "a number"},
      {R"({"do":"device","screen":{"depth":1}})", "\"depth\"", "\"width\""},
      {R"({"do":"device","orientation":"left"})", "\"left\"", "a whole number"},
      {R"({"do":"device","orientation":1.5})", "1.5", "a whole number"},
      {R"({"do":"device","orientation":1e300})", "1e300", "a whole number"},
      {R"({"do":"device","bundle":null})", "null", "an object"},
      {R"({"do":"device","bundle":{"CFBundleVersion":100}})", "100", "text"},
      {R"({"do":"device","bundle":{"CFBundleName":"x"}})", "\"CFBundleName\"", "\"CFBundleIdentifier\""},
      {R"({"do":"device","receipt":5})", "5", "text"},
      {R"({"do":"device","receipt":"no base64"})", "\"no base64\"", "base64"},
      {R"({"do":"device","pasteboards":[]})", "[]", "an object"},
      {R"({"do":"device","pasteboards":{"fb":5}})", "5", "text or null"},
      {R"({"do":"device","user_agent":5})", "5", "text or null"},
      {R"({"do":"device","reachability":"far"})", "\"far\"", "\"unreadable\""},
      {R"({"do":"device","reachability":-1})", "-1", "a whole number"},
      {R"({"do":"device","reachability":4294967296})", "4294967296", "a whole number"},
      {R"({"do":"device","reachability":true})", "true", "a whole number"},
      {R"({"do":"device","location_services":"on"})", "\"on\"", "true or false"},
      {R"({"do":"device","location_status":"3"})", "\"3\"", "a whole number"},
      {R"({"do":"device","documents":null})", "null", "an object"},
      {R"({"do":"device","documents":{"file":5}})", "5", "text"},
      {R"({"do":"device","documents":{"file":"no base64"}})", "\"no base64\"", "base64"},
  });
}

TEST(CommandErrors, OfCalls) {
  expectRefused({
      {R"({"do":"call"})", "\"method\"", "text"},
      {R"({"do":"call","method":5,"args":[]})", "5", "text"},
      {R"({"do":"call","method":"trackEvent","args":["a","b"]})", "\"trackEvent\"", "selector"},
      {R"({"do":"call","method":"trackevent::","args":["a","b"]})", "\"trackevent::\"", "selector"},
      {R"({"do":"call","method":"","args":[]})", "\"\"", "selector"},
      {R"({"do":"call","method":"release","args":[]})", "\"release\"", "selector"},
      {R"({"do":"call","method":"retrieveAttribution","args":{}})", "{}", "a list"},
      {R"({"do":"call","method":"retrieveAttribution","args":null})", "null", "a list"},
      {R"({"do":"call","method":"retrieveAttribution","arguments":[]})", "\"arguments\"", "\"args\""},
      {R"({"do":"call","method":"trackEvent::"})", "0", "2 arguments"},
      {R"({"do":"call","method":"trackEvent::","args":["a"]})", "1", "2 arguments"},
      {R"({"do":"call","method":"trackEvent::","args":["a","b","c"]})", "3", "2 arguments"},
      {R"({"do":"call","method":"trackEvent::","args":["a",5]})", "5", "argument 2"},
  });
}

// What each kind of argument cannot be.
using Wrong = std::vector<std::string>;

const std::string aURL = R"({"$url":"app://x"})";
const std::string aStandard = R"({"$standard":{"name":"x","data":null}})";

const std::vector<std::pair<char, Wrong>>& wrongByKind() {
  static const std::vector<std::pair<char, Wrong>> kinds{
      {'t', {"1", "1.5", "true", "[]", "{}", aURL, aStandard}},              // text
      {'b', {"0", "1", "\"1\"", "null", "[]", "{}", aURL}},                  // boolean
      {'f', {"\"1\"", "true", "null", "[]", "{}", aURL}},                    // real
      {'i', {"\"1\"", "1.5", "true", "null", "[]", "4294967296", "1e300"}},  // code
      {'d', {"1", "\"x\"", "true", "[]", aURL, aStandard}},                  // dictionary
      {'p', {"1", "\"x\"", "true", aURL, aStandard}},                        // dictionary or list
      {'u',
       {"\"app://x\"", "1", "[]", "{}", aStandard, R"({"$url":1})", R"({"$url":null})", R"({"$url":"a","more":1})"}},
      {'s',
       {"\"x\"", "1", "[]", "{}", aURL, R"({"$standard":1})", R"({"$standard":{"name":1}})",
        R"({"$standard":{"data":1}})", R"({"$standard":{"raises":1}})", R"({"$standard":{"title":"x"}})"}},
      {'a', {R"({"$url":1})", R"({"$standard":1})", R"({"$standard":{"title":"x"}})"}},  // any
      {'k', {"\"loud\"", "1", "true", "{}"}},                                            // a delegate's kind
      {'m', {"1", "false", "\"true\"", "{}", aURL}},                                     // a search-ad object
      {'*', {}},  // a boolean or number of an adapter: anything
  };
  return kinds;
}

std::string rightOf(char kind) {
  switch (kind) {
    case 'b':
      return "true";
    case 'f':
    case 'i':
      return "1";
    default:
      return "null";
  }
}

struct Signature {
  std::string selector;
  std::string kinds;
};

const std::vector<Signature>& signatures() {
  static const std::vector<Signature> all{
      {"initWithMarluneAppId:", "t"},
      {"initWithMarluneAppId::", "tt"},
      {"initWithMarluneAppId:::", "ttb"},
      {"initWithMarluneAppId::::", "ttbb"},
      {"initWithMarluneAppId:::::", "ttbbb"},
      {"initMarluneWithParams:", "d"},
      {"swiftInitMarluneWithParams:", "a"},
      {"enableConsoleLogging:", "b"},
      {"trackEvent::", "tt"},
      {"trackEvent:withValue:andReceipt:", "ttt"},
      {"trackEventWithEventTitleString:eventValueString:standardBool:", "ttb"},
      {"trackEventWithEventStandardParameters:", "s"},
      {"identityLinkEvent:", "d"},
      {"spatialEvent::::", "tfff"},
      {"sendDeepLink::", "ut"},
      {"setLimitAdTracking:", "b"},
      {"retrieveAttribution", ""},
      {"handleWatchEvents", ""},
      {"handleWatchEvents:", "t"},
      {"handleWatchEvents::", "tb"},
      {"trackWatchEvent::", "tt"},
      {"trackerDelegate", ""},
      {"setTrackerDelegate:", "k"},
      {"customIdString", ""},
      {"setCustomIdString:", "t"},
      {"iAdAttributionManager", ""},
      {"setIAdAttributionManager:", "m"},
      {"swiftEnableConsoleLogging:", "*"},
      {"swiftTrackEvent::", "aa"},
      {"swiftIdentityLinkEvent:", "a"},
      {"swiftSpatialEvent::::", "a***"},
      {"swiftSetLimitAdTracking:", "*"},
      {"swiftSendDeepLink::", "aa"},
      {"swiftRetrieveAttribution", ""},
      {"getMarluneDeviceId", ""},
      {"createDeviceId", ""},
      {"enqueueMarluneEvent:", "p"},
      {"isEventSending:", "t"},
      {"sendQueueEvents", ""},
      {"appendBatchEvent:", "d"},
      {"flushBatchQueue:", "b"},
      {"currentLocalTime", ""},
      {"returnUptime", ""},
      {"returnAndSetUptimeDelta", ""},
      {"networkConnectedBool", ""},
      {"cellularConnectedBool", ""},
      {"wiFiConnectedBool", ""},
      {"locationServicesApproved", ""},
      {"checkReportLocation", ""},
      {"checkWatchPropertiesChanged", ""},
      {"isOSGenuine", ""},
      {"getFullFilename:", "t"},
      {"UIInterfaceOrientationIsLandscape", "i"},
  };
  return all;
}

std::string callText(const Signature& signature, std::size_t wrongIndex, const std::string& wrong) {
  std::string arguments;
  for (std::size_t index = 0; index < signature.kinds.size(); ++index) {
    if (index > 0) arguments += ",";
    arguments += index == wrongIndex ? wrong : rightOf(signature.kinds[index]);
  }
  return R"({"do":"call","method":")" + signature.selector + R"(","args":[)" + arguments + "]}";
}

/// What the simulator says against `command`; "" when it understands.
std::string messageFor(Script& script, const std::string& command) {
  try {
    script.run(command);
    return "";
  } catch (const CommandError& error) {
    return error.what();
  }
}

TEST(CommandErrors, OfEverySelectorsArguments) {
  for (const bool withTracker : {true, false}) {
    Script script;
    if (withTracker) script.construct();
    for (const Signature& signature : signatures()) {
      for (std::size_t index = 0; index < signature.kinds.size(); ++index) {
        const auto kind =
            std::ranges::find(wrongByKind(), signature.kinds[index], [](const auto& pair) { return pair.first; });
        ASSERT_NE(kind, wrongByKind().end());
        for (const std::string& wrong : kind->second) {
          const std::string command = callText(signature, index, wrong);
          const std::string message = messageFor(script, command);
          EXPECT_NE(message, "") << "understood: " << command;
          const bool isOfAMember =
              wrong.starts_with("{\"$standard\":") && message.find("$standard") != std::string::npos;
          const std::string place = "argument " + std::to_string(index + 1) + " of " + signature.selector;
          EXPECT_TRUE(message.empty() || isOfAMember || message.find(place) != std::string::npos)
              << command << ": " << message;
          EXPECT_TRUE(message.empty() || message.find("want") != std::string::npos ||
                      message.find("takes") != std::string::npos)
              << message;
        }
      }
    }
  }
}

TEST(CommandErrors, OfEverySelectorsNumberOfArguments) {
  Script script;
  script.construct();
  for (const Signature& signature : signatures()) {
    const std::size_t right = signature.kinds.size();
    for (std::size_t count = 0; count <= right + 2; ++count) {
      if (count == right) continue;
      std::string arguments = count == 0 ? "" : "null";
      for (std::size_t index = 1; index < count; ++index) arguments += ",null";
      const std::string message =
          messageFor(script, R"({"do":"call","method":")" + signature.selector + R"(","args":[)" + arguments + "]}");
      EXPECT_NE(message.find(signature.selector + " wants " + std::to_string(right)), std::string::npos) << message;
      EXPECT_NE(message.find("found " + std::to_string(count)), std::string::npos) << message;
    }
  }
}

TEST(Selectors, AreAllUnderstoodWithAndWithoutATracker) {
  for (const bool withTracker : {true, false}) {
    for (const Signature& signature : signatures()) {
      Script script;
      if (withTracker) script.construct();
      const auto events = script.run(callText(signature, signature.kinds.size(), ""));
      const bool isConstructor = signature.selector.starts_with("init") || signature.selector.starts_with("swiftInit");
      const auto results = named(events, isConstructor ? "constructed" : "returned");
      ASSERT_EQ(results.size(), 1U) << signature.selector;
      if (isConstructor) continue;
      EXPECT_EQ(results[0]["method"], Value(signature.selector));
      EXPECT_TRUE(results[0].holds("value")) << signature.selector;
      EXPECT_TRUE(withTracker || results[0]["value"].isNull()) << signature.selector;
    }
  }
}

TEST(Selectors, AdaptersTakeAnything) {
  Script script;
  script.construct();
  for (const std::string value : {"null", "true", "1", "1.5", "\"x\"", "[]", "{}", "{\"a\":1}", R"({"$url":"app://x"})",
                                  R"({"$url":"app://x","more":1})", R"({"$standard":{"name":"x","data":null}})"}) {
    for (const Signature& signature : signatures()) {
      if (!signature.selector.starts_with("swift") || signature.selector.starts_with("swiftInit")) continue;
      for (std::size_t index = 0; index < signature.kinds.size(); ++index) {
        EXPECT_EQ(messageFor(script, callText(signature, index, value)), "") << signature.selector << " " << value;
      }
    }
  }
}

}  // namespace
}  // namespace fliprugair::sim
