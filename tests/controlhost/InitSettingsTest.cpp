#include <gtest/gtest.h>

#include "tools/controlhost/InitSettings.h"

namespace fliprugair::controlhost {

namespace {

/// What is said of the member at `path`, severity first.
std::string effect(const std::string& reply, const std::string& path) {
  for (const Value& one : explained(reply).dictionary()["effects"].array()) {
    const Dictionary members = one.dictionary();
    if (members["path"].text() == path) return members["severity"].text() + ": " + members["text"].text();
  }
  return "";
}

TEST(InitSettings, EachIsExplained) {
  for (const Value& setting : initSettings()) {
    EXPECT_FALSE(setting.dictionary()["what"].text().empty());
    EXPECT_FALSE(setting.dictionary()["absent"].text().empty());
  }
  EXPECT_EQ(initSettings().size(), 21u);
}

TEST(InitSettings, ANumberIsKeptWithinItsRange) {
  const std::pair<const char*, const char*> rows[] = {
      {"90", "ok: mlinit_wait becomes 90."},
      {"9e1", "ok: mlinit_wait becomes 90."},
      {"\"90\"", "ok: mlinit_wait becomes 90."},
      {"30", "warning: mlinit_wait is 30; a tracker takes 60 to 604800, so it becomes 60."},
      {"1000000", "warning: mlinit_wait is 1000000; a tracker takes 60 to 604800, so it becomes 604800."},
      {"90.9", "warning: mlinit_wait is 90.9; a tracker takes 60 to 604800, so it becomes 90."},
      {"\"90s\"", "warning: mlinit_wait is \"90s\"; a tracker takes 60 to 604800, so it becomes 90."},
      {"[]", "warning: mlinit_wait is an empty list; a tracker takes 60 to 604800, so it becomes 60."},
      {"true", "warning: mlinit_wait is true; a tracker takes 60 to 604800, so it becomes 60."},
  };
  for (const auto& [value, text] : rows) {
    EXPECT_EQ(effect(std::string(R"({"flags":{"mlinit_wait":)") + value + "}}", "/flags/mlinit_wait"), text);
  }
}

TEST(InitSettings, LocationIsReadOnlyWhenItIsWanted) {
  EXPECT_EQ(effect(R"({"flags":{"location_accuracy":5}})", "/flags/location_accuracy"),
            "note: location_accuracy is not read: \"whitelist\" does not hold \"location\".");
  EXPECT_EQ(effect(R"({"whitelist":["location"],"flags":{"location_accuracy":5}})", "/flags/location_accuracy"),
            "warning: location_accuracy is 5; a tracker takes 10 to 5000, so it becomes 10.");
  EXPECT_EQ(effect(R"({"whitelist":["location"],"flags":{"location_accuracy":[]}})", "/flags/location_accuracy"),
            "warning: location_accuracy is an empty list; a tracker takes a number from 10 to 5000, and keeps 50.");
}

TEST(InitSettings, WhatIsMisplacedOrUnknownIsNamed) {
  EXPECT_EQ(effect(R"({"mlinit_wait":90})", "/mlinit_wait"),
            "warning: mlinit_wait is not read there by a tracker; it belongs into \"flags\".");
  EXPECT_EQ(effect(R"({"flags":{"blacklist":[]}})", "/flags/blacklist"),
            "warning: blacklist is not read there by a tracker; it belongs beside \"flags\".");
  EXPECT_EQ(effect(R"({"flags":{"mlinitwait":90}})", "/flags/mlinitwait"),
            "warning: mlinitwait is not read there by a tracker.");
}

TEST(InitSettings, NullCountsAsAbsent) {
  EXPECT_EQ(effect(R"({"flags":{"resend_initial":null}})", "/flags/resend_initial"),
            "note: resend_initial is null, which is as if it were absent: The installation is reported again.");
  EXPECT_EQ(effect(R"({"flags":{"currency":null}})", "/flags/currency"),
            "note: currency is null, which is as if it were absent: What the tracker has stays as it is; "
            "at first its option.");
}

TEST(InitSettings, WithoutResendInitialTheInstallationIsReportedAgain) {
  EXPECT_EQ(effect(R"({"success":1})", "/flags/resend_initial"),
            "note: Without \"resend_initial\" the installation is reported again after every init reply.");
}

TEST(InitSettings, AReplyThatIsNoJSONHasItsPlace) {
  const Dictionary broken = explained("{\"flags\"").dictionary();
  EXPECT_EQ(broken["json"], Value(false));
  EXPECT_EQ(broken["problem"], Value("line 1, column 9: Missing a colon after a name of object member."));
  EXPECT_EQ(broken["effects"].array().size(), 1u);
}

}  // namespace

}  // namespace fliprugair::controlhost
