// What a load says of itself.

#include <gtest/gtest.h>

#include "tools/swarm/Report.h"

namespace fliprugair::swarm {
namespace {

TEST(Grouped, SetsThousandsApart) {
  EXPECT_EQ(grouped(0), "0");
  EXPECT_EQ(grouped(999), "999");
  EXPECT_EQ(grouped(1000), "1,000");
  EXPECT_EQ(grouped(1234567), "1,234,567");
}

TEST(FinalReport, SaysWhatToDoWhenNothingWasAccepted) {
  LoadReport report;
  report.seconds = 1;
  report.traffic.requests[0] = 3;
  report.traffic.failed = 3;
  report.failures["failed, HTTP status 503"] = 3;
  LoadOptions options;
  options.hostname = "127.0.0.1:1";
  const std::string text = finalReport(report, options);
  EXPECT_NE(text.find("3 failed, HTTP status 503\n"), std::string::npos) << text;
  EXPECT_NE(text.find("Is a control host listening at 127.0.0.1:1?"), std::string::npos) << text;
  EXPECT_EQ(text.find("Latency"), std::string::npos) << text;
}

TEST(RecordsLine, NamesEachSum) {
  EXPECT_EQ(recordsLine({10, 7, 2, 4, 3, 1}),
            "Records: 10 recorded, 7 confirmed, 2 waiting, 4 arrived twice (3 needlessly), 1 unaccounted\n");
}

}  // namespace
}  // namespace fliprugair::swarm
