#include <gtest/gtest.h>

#include "platform/curl/NetworkThread.h"

namespace fliprugair::test {

namespace {

TEST(NetworkThread, GivesARequestTheDefaultTimesInsteadOfNone) {
  const CurlNetworkOptions standard;
  for (const std::chrono::milliseconds none : {std::chrono::milliseconds(0), std::chrono::milliseconds(-1)}) {
    const CurlNetworkOptions options = withinLimits({.connectTimeout = none, .timeout = none});
    EXPECT_EQ(options.connectTimeout, standard.connectTimeout);
    EXPECT_EQ(options.timeout, standard.timeout);
  }
}

TEST(NetworkThread, GivesARequestTheTimesThatAreAskedFor) {
  const std::chrono::milliseconds connectTimeout(1);
  const std::chrono::milliseconds timeout = std::chrono::hours(1);
  const CurlNetworkOptions options = withinLimits({.connectTimeout = connectTimeout, .timeout = timeout});
  EXPECT_EQ(options.connectTimeout, connectTimeout);
  EXPECT_EQ(options.timeout, timeout);
}

}  // namespace

}  // namespace fliprugair::test
