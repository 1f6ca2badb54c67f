#include <gtest/gtest.h>

#include <vector>

#include "platform/curl/HostTrouble.h"

namespace fliprugair::test {

namespace {

using std::chrono::seconds;
using Answer = HostTrouble::Answer;

class AHost : public testing::Test {
 protected:
  /// Sends one after the other, each of which fails, until the host is not to be sent to.
  std::size_t failUntilRefused(seconds retryAfter = seconds(0)) {
    std::size_t sent = 0;
    while (sent < 100 && trouble_.ask(now_) == Answer::send) {
      ++sent;
      trouble_.failed(now_, retryAfter);
    }
    return sent;
  }

  HostTrouble trouble_;
  HostTrouble::Time now_{seconds(1000)};
};

TEST_F(AHost, IsSentToAnyNumberOfRequestsWhileItIsWell) {
  for (int number = 0; number < 100; ++number) EXPECT_EQ(trouble_.ask(now_), Answer::send);
}

TEST_F(AHost, IsLeftAloneAfterFiveFailuresInARow) {
  EXPECT_EQ(failUntilRefused(), 5U);
  EXPECT_EQ(trouble_.pauseLeft(now_), seconds(1));
}

TEST_F(AHost, ThatAnswersInBetweenIsNotLeftAlone) {
  for (int number = 0; number < 100; ++number) {
    ASSERT_EQ(trouble_.ask(now_), Answer::send);
    if (number % 5 == 4) {
      trouble_.answered();
    } else {
      trouble_.failed(now_, seconds(0));
    }
  }
}

TEST_F(AHost, ThatNamesATimeIsLeftAloneForThatTime) {
  EXPECT_EQ(failUntilRefused(seconds(120)), 1U);
  EXPECT_EQ(trouble_.pauseLeft(now_), seconds(120));
  now_ += seconds(119);
  EXPECT_EQ(trouble_.ask(now_), Answer::refuse);
  now_ += seconds(1);
  EXPECT_EQ(trouble_.ask(now_), Answer::send);
}

TEST_F(AHost, IsNotLeftAloneForMoreThanAnHour) {
  failUntilRefused(seconds(1'000'000'000));
  EXPECT_EQ(trouble_.pauseLeft(now_), HostTrouble::longestNamedPause);
}

TEST_F(AHost, IsTriedWithOneRequestWhileTheOthersWait) {
  failUntilRefused();
  now_ += seconds(1);
  EXPECT_EQ(trouble_.ask(now_), Answer::send);
  EXPECT_EQ(trouble_.ask(now_), Answer::wait);
  now_ += seconds(30);
  EXPECT_EQ(trouble_.ask(now_), Answer::wait);
  trouble_.answered();
  EXPECT_EQ(trouble_.ask(now_), Answer::send);
  EXPECT_EQ(trouble_.ask(now_), Answer::send);
}

TEST_F(AHost, ThatFailsWhenTriedIsLeftAloneTwiceAsLongUpToAMinute) {
  failUntilRefused();
  std::vector<long> pauses;
  for (int number = 0; number < 9; ++number) {
    pauses.push_back(trouble_.pauseLeft(now_).count());
    now_ += trouble_.pauseLeft(now_);
    ASSERT_EQ(failUntilRefused(), 1U);
  }
  EXPECT_EQ(pauses, (std::vector<long>{1, 2, 4, 8, 16, 32, 60, 60, 60}));
}

TEST_F(AHost, ThatHasRecoveredStartsAnewWithFiveFailuresAndTheShortestPause) {
  failUntilRefused();
  now_ += seconds(1);
  failUntilRefused();
  now_ += seconds(2);
  ASSERT_EQ(trouble_.ask(now_), Answer::send);
  trouble_.answered();
  EXPECT_EQ(failUntilRefused(), 5U);
  EXPECT_EQ(trouble_.pauseLeft(now_), seconds(1));
}

TEST_F(AHost, IsLeftAloneNoLongerForFailuresOfRequestsThatWereSentBefore) {
  for (int number = 0; number < 8; ++number) trouble_.ask(now_);
  for (int number = 0; number < 8; ++number) trouble_.failed(now_, seconds(0));
  EXPECT_EQ(trouble_.pauseLeft(now_), seconds(1));
}

TEST_F(AHost, MayNameALongerTimeWithARequestThatWasSentBefore) {
  for (int number = 0; number < 3; ++number) trouble_.ask(now_);
  trouble_.failed(now_, seconds(10));
  trouble_.failed(now_, seconds(30));
  trouble_.failed(now_, seconds(20));
  EXPECT_EQ(trouble_.pauseLeft(now_), seconds(30));
}

TEST_F(AHost, ThatAnswersARequestFromBeforeIsWell) {
  for (int number = 0; number < 6; ++number) trouble_.ask(now_);
  for (int number = 0; number < 5; ++number) trouble_.failed(now_, seconds(0));
  EXPECT_EQ(trouble_.ask(now_), Answer::refuse);
  trouble_.answered();
  EXPECT_EQ(trouble_.ask(now_), Answer::send);
}

TEST_F(AHost, IsNotTriedBeforeEverythingFromBeforeHasEnded) {
  for (int number = 0; number < 6; ++number) trouble_.ask(now_);
  for (int number = 0; number < 5; ++number) trouble_.failed(now_, seconds(0));
  now_ += seconds(1);
  EXPECT_EQ(trouble_.ask(now_), Answer::wait);
  trouble_.failed(now_, seconds(0));
  EXPECT_EQ(trouble_.ask(now_), Answer::refuse);
  EXPECT_EQ(trouble_.pauseLeft(now_), seconds(2));
}

TEST_F(AHost, IsTriedWithTheNextRequestWhenTheOneBeforeCameToNothing) {
  ASSERT_EQ(trouble_.ask(now_), Answer::send);
  trouble_.notSent();
  EXPECT_EQ(failUntilRefused(), 5U);
  now_ += seconds(1);
  ASSERT_EQ(trouble_.ask(now_), Answer::send);
  trouble_.notSent();
  EXPECT_EQ(trouble_.pauseLeft(now_), seconds(0));
  EXPECT_EQ(trouble_.ask(now_), Answer::send);
  EXPECT_EQ(trouble_.ask(now_), Answer::wait);
}

}  // namespace

}  // namespace fliprugair::test
