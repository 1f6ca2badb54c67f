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

TEST(GpsReports, AFixOfTheWantedAccuracyIsTaken) {
  GpsReports reports(15);
  const auto fix = reports.sufficientFix(report(R"("mode":2,"lat":48.5,"lon":-11.25,"eph":15.0)"));
  ASSERT_TRUE(fix);
  EXPECT_EQ(fix->latitude, 48.5);
  EXPECT_EQ(fix->longitude, -11.25);
  EXPECT_EQ(fix->accuracy, 15.0);
}

TEST(GpsReports, TheAccuracyIsMadeUpOfThatOfEachAxisWhenThereIsNoOther) {
  GpsReports reports(50);
  const auto fix = reports.sufficientFix(report(R"("mode":3,"lat":48.5,"lon":11.25,"epx":3.0,"epy":4.0)"));
  ASSERT_TRUE(fix);
  EXPECT_DOUBLE_EQ(fix->accuracy, 5.0);
}

TEST(GpsReports, WhatIsNotASufficientFixIsPassedOver) {
  const std::vector<std::string> lines{
      "",
      "no report",
      R"({"class":"VERSION","release":"3.22"})",
      R"({"class":"TPV")",
      report(R"("mode":0,"lat":48.5,"lon":11.25,"eph":15.0)"),
      report(R"("mode":1,"lat":48.5,"lon":11.25,"eph":15.0)"),
      report(R"("lat":48.5,"lon":11.25,"eph":15.0)"),
      report(R"("mode":3,"eph":15.0)"),
      report(R"("mode":3,"lat":48.5,"eph":15.0)"),
      report(R"("mode":3,"lon":11.25,"eph":15.0)"),
      report(R"("mode":3,"lat":90.5,"lon":11.25,"eph":15.0)"),
      report(R"("mode":3,"lat":48.5,"lon":-180.5,"eph":15.0)"),
      report(R"("mode":3,"lat":1e999,"lon":11.25,"eph":15.0)"),
      report(R"("mode":3,"lat":48.5,"lon":11.25)"),
      report(R"("mode":3,"lat":48.5,"lon":11.25,"epx":3.0)"),
      report(R"("mode":3,"lat":48.5,"lon":11.25,"eph":0.0)"),
      report(R"("mode":3,"lat":48.5,"lon":11.25,"eph":-1.0)"),
      report(R"("mode":3,"lat":48.5,"lon":11.25,"eph":50.1)"),
      report(R"("mode":3,"lat":48.5,"lon":11.25,"epx":40.0,"epy":40.0)"),
  };
  for (const auto& line : lines) {
    GpsReports reports(50);
    EXPECT_FALSE(reports.sufficientFix(line)) << line;
  }
}

TEST(GpsReports, AnEarlierFixLeavesNothingToALaterReport) {
  GpsReports reports(10);
  EXPECT_FALSE(reports.sufficientFix(report(R"("mode":3,"lat":48.5,"lon":11.25,"eph":15.0)")));
  EXPECT_FALSE(reports.sufficientFix(report(R"("mode":3,"eph":5.0)")));
}

TEST(GpsReports, AFixWithATimeIsTakenOnceTheReceiverIsSeenToGoOn) {
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
