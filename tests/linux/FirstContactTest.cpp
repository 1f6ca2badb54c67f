// What a developer hears whose first program does not do what it should.

#include "Fliprugair/MarluneTracker.h"
#include "Fliprugair/platform/linux/LinuxEnvironment.h"
#include "linux/Support.h"

namespace fliprugair {
namespace {

/// The lines of a run that starts two trackers with `options`, with logging off.
std::vector<std::string> linesOfTwoStarts(const Value& trackerOptions, bool advises = true) {
  Record record;
  LinuxOptions options = isolatedOptions();
  options.log = record.log();
  options.advises = advises;
  const auto environment = LinuxEnvironment::open(options).environment;
  for (int start = 0; start < 2; ++start) MarluneTracker::initMarluneWithParams(*environment, trackerOptions);
  return record.lines();
}

TEST(FirstStart, NamesAnOptionThatThereIsNotOnceAlthoughLoggingIsOff) {
  const std::vector<std::string> lines =
      linesOfTwoStarts({{"marluneAppId", "demo"}, {"trackerHostName", "127.0.0.1:8080"}});
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_NE(lines[0].find("there is no option \"trackerHostName\", so it has no effect. There are: "),
            std::string::npos)
      << lines[0];
  EXPECT_NE(lines[0].find(" trackerHostname, "), std::string::npos) << lines[0];
}

TEST(FirstStart, ThatFailsIsSaidOnceAlthoughLoggingIsOff) {
  const std::vector<std::string> lines = linesOfTwoStarts({{"marluneAppId", 17}});
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_NE(lines[0].find("no tracker was started: give it the option \"marluneAppId\""), std::string::npos)
      << lines[0];
}

TEST(FirstStart, WithWhatIsNotADictionaryIsSaidOnceAlthoughLoggingIsOff) {
  Record record;
  LinuxOptions options = isolatedOptions();
  options.log = record.log();
  const auto environment = LinuxEnvironment::open(options).environment;
  for (const AnyObject& object : {AnyObject(Value("demo")), AnyObject(Value()), AnyObject(URL("app://link"))}) {
    EXPECT_EQ(MarluneTracker::swiftInitMarluneWithParams(*environment, object), nullptr);
  }
  ASSERT_EQ(record.lines().size(), 1U);
  EXPECT_NE(record.lines()[0].find("no tracker was started: the options are not a dictionary."), std::string::npos)
      << record.lines()[0];
}

TEST(FirstStart, WithEveryOptionThereIsHasNothingSaidOfIt) {
  const std::vector<std::string> lines = linesOfTwoStarts({{"marluneAppId", "demo"},
                                                           {"partnerId", "p"},
                                                           {"partnerName", "n"},
                                                           {"trackerHostname", "127.0.0.1:8080"},
                                                           {"currency", "eur"},
                                                           {"limitAdTracking", true},
                                                           {"isNewUser", true},
                                                           {"enableLogging", false},
                                                           {"retrieveAttribution", true},
                                                           {"customIdString", "c"},
                                                           {"identityLink", Value{{"a", "b"}}},
                                                           {"generateAnonymousMarluneDeviceId", true},
                                                           {"versionExtension", "e"}});
  EXPECT_TRUE(lines.empty()) << lines[0];
}

TEST(FirstStart, IsPassedOverInSilenceWhenTheHostAppSaysSo) {
  EXPECT_TRUE(linesOfTwoStarts({{"trackerHostName", "127.0.0.1:8080"}}, false).empty());
}

#if FLIPRUGAIR_CURL

/// The lines of a run that sends two requests to `hostname`, with logging off.
std::vector<std::string> linesOfTwoRequests(const std::string& hostname, bool advises = true,
                                            const Value& payload = Value{{"action", "init"}}) {
  Record record;
  LinuxOptions options = isolatedOptions();
  options.makeNetworkAccess = nullptr;
  options.log = record.log();
  options.advises = advises;
  const auto environment = LinuxEnvironment::open(options).environment;
  for (int request = 0; request < 2; ++request) {
    environment->makeNetworkAccess()->sendHTTPRequestWithHostname(hostname, payload);
  }
  environment->terminate();
  return record.lines();
}

TEST(FirstContact, ThatFailsIsSaidOnceAlthoughLoggingIsOff) {
  const std::vector<std::string> lines = linesOfTwoRequests("127.0.0.1:1");  // nobody listens there
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_NE(lines[0].find("the first request to http://127.0.0.1:1/marlune/v4: failed, "), std::string::npos)
      << lines[0];
  EXPECT_NE(lines[0].find("See that \"trackerHostname\" names your control host"), std::string::npos) << lines[0];
}

TEST(FirstContact, SaysWhenItIsMadeAgain) {
  EXPECT_NE(linesOfTwoRequests("127.0.0.1:1").at(0).find(". It is made again by a later start."), std::string::npos);
}

TEST(FirstContact, WithWhatIsNoHostNameIsSaidOnceToo) {
  const std::vector<std::string> lines = linesOfTwoRequests("no host");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_NE(lines[0].find("\"no host\" is not a host name"), std::string::npos) << lines[0];
}

TEST(FirstContact, IsNotMadeByAFlushOfRecordsThatAreGone) {
  EXPECT_TRUE(linesOfTwoRequests("127.0.0.1:1", true, nullptr).empty());
}

TEST(FirstContact, IsPassedOverInSilenceWhenTheHostAppSaysSo) {
  EXPECT_TRUE(linesOfTwoRequests("127.0.0.1:1", false).empty());
  EXPECT_TRUE(linesOfTwoRequests("no host", false).empty());
}

#endif

}  // namespace
}  // namespace fliprugair
