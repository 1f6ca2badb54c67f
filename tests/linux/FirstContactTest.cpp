// What a developer hears whose first program reaches no host.

#if FLIPRUGAIR_CURL

#include "Fliprugair/platform/linux/LinuxEnvironment.h"
#include "linux/Support.h"

namespace fliprugair {
namespace {

/// The lines of a run that sends two requests to `hostname`, with logging off.
std::vector<std::string> linesOfTwoRequests(const std::string& hostname, bool advises = true) {
  Record record;
  LinuxOptions options = isolatedOptions();
  options.makeNetworkAccess = nullptr;
  options.log = record.log();
  options.network.adviseOnFirstFailure = advises;
  const auto environment = LinuxEnvironment::open(options).environment;
  for (int request = 0; request < 2; ++request) {
    environment->makeNetworkAccess()->sendHTTPRequestWithHostname(hostname, Value{{"action", "init"}});
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

TEST(FirstContact, WithWhatIsNoHostNameIsSaidOnceToo) {
  const std::vector<std::string> lines = linesOfTwoRequests("no host");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_NE(lines[0].find("\"no host\" is not a host name"), std::string::npos) << lines[0];
}

TEST(FirstContact, IsPassedOverInSilenceWhenTheHostAppSaysSo) {
  EXPECT_TRUE(linesOfTwoRequests("127.0.0.1:1", false).empty());
  EXPECT_TRUE(linesOfTwoRequests("no host", false).empty());
}

}  // namespace
}  // namespace fliprugair

#endif
