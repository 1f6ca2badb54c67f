#include <gtest/gtest.h>

#include "platform/gpsd/GpsReports.h"

namespace fliprugair {
namespace {

std::string report(const std::string& members, const std::string& device = "/dev/gps0") {
  return R"({"class":"TPV","device":")" + device + R"(",)" + members + "}";
}

std::string reportAt(const std::string& clock, const std::string& device = "/dev/gps0") {
  return report(R"("mode":3,"time":"2026-01-01T)" + clock + R"(Z","lat":48.5,"lon":11.25,"eph":15.0)", device);
}

/// What is made of a report with `members` of a receiver that is seen to go on.
std::optional<GpsFix> fixOf(const std::string& members, double wantedAccuracy) {
  GpsReports reports(wantedAccuracy);
  reports.sufficientFix(report(R"("mode":1,"time":"2026-01-01T12:00:00.000Z")"));
  return reports.sufficientFix(report(R"("time":"2026-01-01T12:00:01.000Z",)" + members));
}

TEST(GpsReports, AFixOfTheWantedAccuracyIsTaken) {
  const auto fix = fixOf(R"("mode":2,"lat":48.5,"lon":-11.25,"eph":15.0)", 15);
  ASSERT_TRUE(fix);
  EXPECT_EQ(fix->latitude, 48.5);
  EXPECT_EQ(fix->longitude, -11.25);
  EXPECT_EQ(fix->accuracy, 15.0);
}

TEST(GpsReports, TheAccuracyIsMadeUpOfThatOfEachAxisWhenThereIsNoOther) {
  const auto fix = fixOf(R"("mode":3,"lat":48.5,"lon":11.25,"epx":3.0,"epy":4.0)", 50);
  ASSERT_TRUE(fix);
  EXPECT_DOUBLE_EQ(fix->accuracy, 5.0);
}

TEST(GpsReports, AnAccuracyBelowAMetreIsOneToo) {
  EXPECT_TRUE(fixOf(R"("mode":3,"lat":48.5,"lon":11.25,"eph":0.25)", 50));
  EXPECT_TRUE(fixOf(R"("mode":3,"lat":48.5,"lon":11.25,"epx":0.25,"epy":0.5)", 50));
}

TEST(GpsReports, WhatIsNotASufficientFixIsPassedOver) {
  const std::vector<std::string> insufficient{
      R"("mode":0,"lat":48.5,"lon":11.25,"eph":15.0)",
      R"("mode":1,"lat":48.5,"lon":11.25,"eph":15.0)",
      R"("lat":48.5,"lon":11.25,"eph":15.0)",
      R"("mode":3,"eph":15.0)",
      R"("mode":3,"lat":48.5,"eph":15.0)",
      R"("mode":3,"lon":11.25,"eph":15.0)",
      R"("mode":3,"lat":90.5,"lon":11.25,"eph":15.0)",
      R"("mode":3,"lat":48.5,"lon":-180.5,"eph":15.0)",
      R"("mode":3,"lat":1e999,"lon":11.25,"eph":15.0)",
      R"("mode":3,"lat":48.5,"lon":11.25)",
      R"("mode":3,"lat":48.5,"lon":11.25,"epx":3.0)",
      R"("mode":3,"lat":48.5,"lon":11.25,"epy":3.0)",
      R"("mode":3,"lat":48.5,"lon":11.25,"eph":0.0)",
      R"("mode":3,"lat":48.5,"lon":11.25,"eph":-1.0)",
      R"("mode":3,"lat":48.5,"lon":11.25,"eph":50.1)",
      R"("mode":3,"lat":48.5,"lon":11.25,"epx":40.0,"epy":40.0)",
  };
  for (const auto& members : insufficient) EXPECT_FALSE(fixOf(members, 50)) << members;
}

TEST(GpsReports, WhatElseAReportHoldsIsNotLookedAt) {
  const std::string fix = R"("mode":3,"lat":48.5,"lon":11.25,"eph":15.0)";
  EXPECT_TRUE(fixOf(fix + R"(,"alt":"high","climb":1e308,"tag":"x\"{[")", 50));
  EXPECT_TRUE(fixOf(fix + ",\"" + std::string(1000, 'n') + "\":1", 50));
  EXPECT_FALSE(GpsReports(50).sufficientFix(report(fix, std::string(101, 'd'))));
}

TEST(GpsReports, AReceiverNeedsNoName) {
  GpsReports reports(50);
  EXPECT_FALSE(reports.sufficientFix(R"({"class":"TPV","mode":1,"time":"2026-01-01T12:00:00Z"})"));
  EXPECT_TRUE(reports.sufficientFix(
      R"({"class":"TPV","mode":3,"time":"2026-01-01T12:00:01Z","lat":48.5,"lon":11.25,"eph":15.0})"));
}

TEST(GpsReports, AReportWithANameOrATimeThatNeedsEscapingIsPassedOver) {
  for (const std::string device : {R"(\"gps\")", R"(a\\b)", R"(\u0001)", R"(\u00e9)"}) {
    GpsReports reports(50);
    reports.sufficientFix(reportAt("12:00:00.000", device));
    EXPECT_FALSE(reports.sufficientFix(reportAt("12:00:01.000", device))) << device;
  }
}

TEST(GpsReports, APositionAtTheEdgeOfTheEarthIsOne) {
  EXPECT_TRUE(fixOf(R"("mode":3,"lat":90.0,"lon":180.0,"eph":15.0)", 50));
  EXPECT_TRUE(fixOf(R"("mode":3,"lat":-90.0,"lon":-180.0,"eph":15.0)", 50));
}

TEST(GpsReports, ALineThatIsNoReportOfAPositionIsPassedOver) {
  const std::string position = R"("mode":3,"time":"2026-01-01T12:00:02Z","lat":48.5,"lon":11.25,"eph":15.0)";
  const std::vector<std::string> lines{
      "",
      "no report",
      std::string("\0\0", 2),
      R"({"class":"VERSION","release":"3.22"})",
      R"({"class":"TPV")",
      R"({"class":"SKY","device":"/dev/gps0",)" + position + "}",
      R"({"class":"SKY","device":"\"class\":\"TPV\"",)" + position + "}",
      R"({"class":"TPV","device":"/dev/gps0","more":{},)" + position + "}",
      R"({"class":"TPV","device":"/dev/gps0",)" + position + R"(} {"class":"TPV"})",
      R"({"class":"TPV""class":"TPV"11.5,"device":"/dev/gps0",)" + position + "}",
  };
  GpsReports reports(50);
  EXPECT_FALSE(reports.sufficientFix(reportAt("12:00:00.000")));
  for (const auto& line : lines) EXPECT_FALSE(reports.sufficientFix(line)) << line;
  EXPECT_TRUE(reports.sufficientFix(reportAt("12:00:01.000")));
}

TEST(GpsReports, AFixWithoutATimeIsNone) {
  GpsReports reports(50);
  for (int repeated = 0; repeated < 3; ++repeated) {
    EXPECT_FALSE(reports.sufficientFix(report(R"("mode":3,"lat":48.5,"lon":11.25,"eph":15.0)")));
  }
}

TEST(GpsReports, AnEarlierFixLeavesNothingToALaterReport) {
  GpsReports reports(10);
  EXPECT_FALSE(reports.sufficientFix(report(R"("mode":3,"time":"2026-01-01T12:00:00Z","lat":48.5,"lon":11.25)")));
  EXPECT_FALSE(reports.sufficientFix(report(R"("mode":3,"time":"2026-01-01T12:00:01Z","eph":5.0)")));
}

TEST(GpsReports, ASecondFixIsReadAsTheFirstWas) {
  GpsReports reports(50);
  EXPECT_FALSE(reports.sufficientFix(reportAt("12:00:00.000")));
  ASSERT_TRUE(reports.sufficientFix(reportAt("12:00:01.000")));
  const auto second =
      reports.sufficientFix(report(R"("mode":3,"time":"2026-01-01T12:00:02Z","lat":-1.5,"lon":-2.5,"eph":7.0)"));
  ASSERT_TRUE(second);
  EXPECT_EQ(second->latitude, -1.5);
  EXPECT_EQ(second->longitude, -2.5);
  EXPECT_EQ(second->accuracy, 7.0);
}

TEST(GpsReports, AFixIsTakenOnceTheReceiverIsSeenToGoOn) {
  GpsReports reports(50);
  EXPECT_FALSE(reports.sufficientFix(reportAt("12:00:00.000")));
  EXPECT_FALSE(reports.sufficientFix(reportAt("12:00:00.000")));
  EXPECT_TRUE(reports.sufficientFix(reportAt("12:00:00.250")));
}

TEST(GpsReports, AnotherReceiversTimesSayNothingAboutAReceiver) {
  GpsReports reports(50);
  EXPECT_FALSE(reports.sufficientFix(reportAt("12:00:00.000", "/dev/gps0")));
  EXPECT_FALSE(reports.sufficientFix(reportAt("12:00:05.000", "/dev/gps1")));
  EXPECT_TRUE(reports.sufficientFix(reportAt("12:00:01.000", "/dev/gps0")));
}

TEST(GpsReports, AReceiverWhoseClockIsSetBackIsFollowed) {
  GpsReports reports(50);
  EXPECT_FALSE(reports.sufficientFix(reportAt("12:00:00.000")));
  EXPECT_FALSE(reports.sufficientFix(reportAt("11:00:00.000")));
  EXPECT_TRUE(reports.sufficientFix(reportAt("11:00:01.000")));
}

TEST(GpsReports, ATimeBeforeTheFixCountsAsSeen) {
  GpsReports reports(50);
  EXPECT_FALSE(reports.sufficientFix(report(R"("mode":1,"time":"2026-01-01T12:00:00.000Z")")));
  EXPECT_TRUE(reports.sufficientFix(reportAt("12:00:01.000")));
}

}  // namespace
}  // namespace fliprugair
