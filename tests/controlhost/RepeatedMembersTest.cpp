#include <gtest/gtest.h>

#include "Fliprugair/ControlHost.h"
#include "controlhost/HttpClient.h"
#include "tools/controlhost/RepeatedMembers.h"

namespace fliprugair::controlhost {

namespace {

/// The places that are found in `text`, each with its record.
std::string placesIn(const std::string& text) {
  std::string places;
  for (const Finding& finding : repeatedMembers(text, text[0] == '[')) {
    places += std::to_string(finding.record.value_or(-1)) + finding.path + ' ';
  }
  return places;
}

TEST(RepeatedMembers, OfALongNameAreNamedByItsBeginning) {
  const std::string name(100000, 'n');
  EXPECT_EQ(placesIn("{\"" + name + "\":{\"x\":1,\"x\":2}}"), "0/" + name.substr(0, 200) + ".../x ");
}

TEST(RepeatedMembers, AreFoundWhereTheyStandOnceForEachName) {
  EXPECT_EQ(placesIn(R"({"action":"init","action":"init","action":1})"), "0/action ");
  EXPECT_EQ(placesIn(R"({"data":{"a/b":1,"c":[1,{"x":1,"x":2}],"a/b":2}})"), "0/data/c/1/x 0/data/a~1b ");
  EXPECT_EQ(placesIn(R"([{"data":{}},{"data":{"x":1,"x":[]},"":1,"":2}])"), "1/data/x 1/ ");
}

TEST(RepeatedMembers, ThereAreNoneInDifferentObjects) {
  EXPECT_EQ(placesIn(R"([{"x":1,"data":{"x":1,"y":[{"x":1},{"x":1}]}},{"x":1}])"), "");
}

TEST(RepeatedMembers, AreNamedUpToAHundred) {
  std::string text = "{";
  for (int number = 0; number < 300; ++number) text += '"' + std::to_string(number / 2) + "\":1,";
  EXPECT_EQ(repeatedMembers(text + "\"last\":1}", false).size(), 100u);
}

TEST(RepeatedMembers, AreAFindingOfTheirRecord) {
  const ControlHost host;
  test::httpPost(host.port(), "/marlune/v4", R"([{"action":"event"},{"action":"event","data":{"x":"1","x":"2"}}])");
  const std::vector<Finding> findings = host.findings();
  const auto found =
      std::find_if(findings.begin(), findings.end(), [](const Finding& one) { return one.code == "repeated-member"; });
  ASSERT_NE(found, findings.end());
  EXPECT_EQ(found->record, 1);
  EXPECT_EQ(found->severity, Severity::error);
  EXPECT_EQ(found->text,
            "/data/x stands more than once in its object. Send it once: some readers take the first value, others the "
            "last.");
}

}  // namespace

}  // namespace fliprugair::controlhost
