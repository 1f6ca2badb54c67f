// What of the control host stands on the include path of a test that links it: what it offers and nothing within it.
#include <Fliprugair/ControlHost.h>
#include <gtest/gtest.h>

#include "platform/Text.h"

#if __has_include("tools/controlhost/Reception.h") ||                                                        \
                  __has_include("Reception.h") || __has_include("platform/json/RapidJSONSerialization.h") || \
                                                                __has_include("Fliprugair/core/Context.h")
#error "a header within the project is on the include path"
#endif

TEST(Headers, OfTheAppKeepTheirNames) { EXPECT_STREQ(app::greeting(), "a header of the app's own"); }

TEST(Headers, OfTheHostSayAllThatItIsToldAndTells) {
  fliprugair::ControlHost host;
  fliprugair::controlhost::AnswerRule rule;
  rule.settings.status["init"] = 503;
  host.setRules({rule});
  fliprugair::controlhost::Fault fault;
  fault.kind = fliprugair::controlhost::Fault::Kind::resetBefore;
  host.setFaults({fault});
  const std::vector<fliprugair::controlhost::ReceivedRequest> requests = host.requests();
  const std::vector<fliprugair::controlhost::Finding> findings = host.findings();
  EXPECT_TRUE(requests.empty());
  EXPECT_TRUE(findings.empty());
  EXPECT_FALSE(host.waitFor("action:init", 1, std::chrono::milliseconds(0)).matched);
}
