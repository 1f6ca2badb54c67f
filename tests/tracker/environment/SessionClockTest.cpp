#include <limits>

#include "Fliprugair/environment/SessionClock.h"
#include "tracker/ObservedEnvironment.h"
#include "tracker/Phone.h"

namespace fliprugair {
namespace {

class Clock {
 public:
  Phone phone;
  ObservedEnvironment environment{phone.process};
  Context::Shared shared;
  Context context{environment.platform(), shared};
  SessionClock clock{context};

  /// What a report gets, with the last one at `last` and now at 1000.
  Dictionary added(const Value& last, const Value& lastPost) {
    phone.device.setNow(1000);
    phone.store("lastUpdateTime", last);
    phone.store("lastPostTime", lastPost);
    PairText data(context.json());
    clock.addUptimeDeltaAndLastPostTime(data);
    return data.value().dictionary();
  }
};

TEST(SessionClock, CountsWholeSeconds) {
  Clock on;
  on.phone.device.setNow(1000.999);
  EXPECT_EQ(on.clock.now(), 1000U);
  EXPECT_EQ(on.clock.currentLocalTime(), "1000");
}

TEST(SessionClock, StandsAtZeroBefore1970) {
  Clock on;
  for (const double time : {0.0, -0.5, -1000.0}) {
    on.phone.device.setNow(time);
    EXPECT_EQ(on.clock.now(), 0U);
  }
}

TEST(SessionClock, StandsAtItsLastSecondForATimeBeyondCounting) {
  Clock on;
  on.phone.device.setNow(1e300);
  EXPECT_EQ(on.clock.now(), std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(on.clock.currentLocalTime(), "-1");
}

TEST(SessionClock, CountsTheUptimeFromTheActivation) {
  Clock on;
  on.phone.device.setNow(1000);
  on.clock.noteActivation();
  on.phone.device.setNow(1090);
  EXPECT_EQ(on.clock.returnUptime(), "90");
}

TEST(SessionClock, CountsTheUptimeFrom1970WithoutAnActivation) {
  Clock on;
  on.phone.device.setNow(1000);
  EXPECT_EQ(on.clock.returnUptime(), "1000");
}

TEST(SessionClock, GivesANegativeUptimeForAnActivationInTheFuture) {
  Clock on;
  on.phone.device.setNow(1000);
  on.phone.store("timeAppBecameActive", 1010);
  EXPECT_EQ(on.clock.returnUptime(), "-10");
}

TEST(SessionClock, MovesTheReferencePointWithEachReading) {
  Clock on;
  on.phone.device.setNow(1000);
  on.phone.store("lastUpdateTime", 940);
  EXPECT_EQ(on.clock.returnAndSetUptimeDelta(), "60");
  EXPECT_EQ(on.clock.returnAndSetUptimeDelta(), "0");
  on.phone.device.setNow(1005);
  EXPECT_EQ(on.clock.returnAndSetUptimeDelta(), "5");
}

TEST(SessionClock, GivesANegativeDeltaAfterTheClockWasSetBack) {
  Clock on;
  on.phone.device.setNow(1000);
  on.phone.store("lastUpdateTime", 1030);
  EXPECT_EQ(on.clock.returnAndSetUptimeDelta(), "-30");
  EXPECT_EQ(on.phone.stored("lastUpdateTime"), Value(1000));
}

TEST(SessionClock, HasTheReferencePointDurableWhenItHasMoved) {
  Clock on;
  on.clock.returnAndSetUptimeDelta();
  EXPECT_TRUE(on.environment.store.undurable().empty());
}

TEST(SessionClock, AddsADeltaAndALastPostTimeThatAreAboveZero) {
  Clock on;
  EXPECT_EQ(on.added(999, 1), Value({{"updelta", "1"}, {"last_post_time", 1}}).dictionary());
}

TEST(SessionClock, AddsNoDeltaOfNoTimeOrOfAClockSetBack) {
  Clock on;
  for (const int last : {1000, 1001, 5000}) EXPECT_TRUE(on.added(last, 0).empty()) << last;
}

TEST(SessionClock, AddsNoLastPostTimeOfZeroOrLess) {
  Clock on;
  for (const Value& post : {Value(), Value(0), Value(-1), Value("x"), Value(Array({1}))}) {
    EXPECT_TRUE(on.added(1000, post).empty()) << post.integerValue();
  }
}

TEST(SessionClock, AddsTheLastPostTimeAsItIsStored) {
  Clock on;
  EXPECT_EQ(on.added(1000, "7 o'clock"), Value({{"last_post_time", "7 o'clock"}}).dictionary());
}

TEST(SessionClock, BeginsWithTheTimeOfTheFirstStart) {
  Clock on;
  on.phone.device.setNow(1000);
  on.clock.storeDefaults();
  EXPECT_EQ(on.phone.stored("lastUpdateTime"), Value(1000));
  EXPECT_EQ(on.phone.stored("timeAppBecameActive"), Value(1000));
  EXPECT_EQ(on.phone.stored("lastPostTime"), Value(0));
}

TEST(SessionClock, LeavesWhatItHasAtALaterStart) {
  Clock on;
  for (const std::string_view name : {"lastUpdateTime", "timeAppBecameActive", "lastPostTime"}) on.phone.store(name, 5);
  on.clock.storeDefaults();
  for (const std::string_view name : {"lastUpdateTime", "timeAppBecameActive", "lastPostTime"}) {
    EXPECT_EQ(on.phone.stored(name), Value(5)) << name;
  }
}

}  // namespace
}  // namespace fliprugair
