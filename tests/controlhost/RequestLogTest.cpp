#include <gtest/gtest.h>

#include "tools/controlhost/RequestLog.h"

namespace fliprugair::controlhost {

namespace {

TEST(RequestLog, TheOldestGoWhenTheBytesOfTheOthersTakeAllRoom) {
  RequestLog log(10, 1000000);
  for (int number = 0; number < 5; ++number) {
    ReceivedRequest request;
    request.bytes.assign(100000, ' ');
    request.compressed.assign(200000, ' ');
    log.add(std::move(request));
  }
  EXPECT_EQ(log.first(), 3);
}

TEST(RequestLog, HeadersNamesAndFindingsTakeRoom) {
  RequestLog log(10, 100000);
  for (int number = 0; number < 4; ++number) {
    ReceivedRequest request;
    request.headers.emplace_back("X", std::string(20000, 'x'));
    request.names.assign(300, "event");
    request.findings.assign(100, Finding());
    log.add(std::move(request));
  }
  EXPECT_EQ(log.last(), 4);
  EXPECT_GT(log.first(), 2);
}

}  // namespace

}  // namespace fliprugair::controlhost
